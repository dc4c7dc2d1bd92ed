#include "boards/Watch.h"

#include <algorithm>
#include <utility>

#include "boards/BoardLog.h"

namespace kvo::boards {

namespace {

// How long a result stays in view whose port is gone already.
constexpr std::chrono::seconds kInViewFor{10};

}  // namespace

Watch::Watch(const Plan& plan, const Limits& limits, Workers& workers, Display& display)
    : BoardLoop(limits, workers, display),
      plan_(plan),
      display_(display),
      ports_(plan.command_line.patterns) {}

bool Watch::IsOver() const {
  const std::size_t count = plan_.command_line.count;
  return Runs().empty() && (is_interrupted_ || (count > 0 && totals_.boards >= count));
}

// What workers have told is older than what the look at the ports tells.
void Watch::GoOn(Clock::time_point now) {
  TakeEnds(now);
  const PortWatch::Changes changes = ports_.Look(now);
  for (const std::string& path : changes.gone) {
    TakeGoing(path, now);
  }
  for (const PortWatch::Port& port : changes.come) {
    TakeComing(port, now);
  }
  has_looked_ = true;
  TakeWaiting();
  if (!is_interrupted_) {
    BeginReady();
  }
  Forget(now);
}

void Watch::Interrupt(int times) {
  is_interrupted_ = true;
  if (times == 1 && std::ranges::any_of(Runs(), &BoardRun::IsServed)) {
    display_.Announce("Finishing the boards in progress; a second interrupt stops them");
  } else if (times == 2) {
    InterruptAll();
  } else if (times > 2) {
    MakeHaste();
  }
  for (Visit& visit : visits_) {
    if (visit.run != nullptr && visit.status.attempt == 0) {
      visit.run->Withdraw();
    }
  }
}

void Watch::TakeEnds(Clock::time_point now) {
  const auto has_ended = [](const Visit& visit) { return visit.run && visit.run->IsDone(); };
  // From the start each time, as other visits may end with one.
  for (auto visit = std::ranges::find_if(visits_, has_ended); visit != visits_.end();
       visit = std::ranges::find_if(visits_, has_ended)) {
    TakeEnd(*visit, now);
  }
}

void Watch::TakeEnd(Visit& visit, Clock::time_point now) {
  const std::optional<BoardRun::Opening> opening = visit.run->LastOpening();
  Remove(*std::exchange(visit.run, nullptr));
  if (!visit.status.end) {  // withdrawn
    RemoveEmptyLog(visit.assignment.log_path);
    Drop(visit);
    return;
  }
  visit.stage = Stage::kEnded;
  Count(*visit.status.end);
  if (!visit.is_there) {
    visit.shown_until = now + kInViewFor;
    if (opening) {
      Adopt(visit, *opening);
    }
    if (!visit.is_there && visit.status.end->reason == Reason::kLost) {
      ServeUnderAnotherName(visit.port.device);
    }
  }
}

void Watch::Count(const BoardStatus::End& end) {
  ++totals_.boards;
  ++(IsGood(end) ? totals_.good : totals_.failed);
}

// A repeated attempt has had a port that came back, so that this isn't another visit.
void Watch::Adopt(Visit& visit, const BoardRun::Opening& opening) {
  const auto back = std::ranges::find_if(visits_, [&](const Visit& other) {
    return other.stage == Stage::kWaiting && other.port.path == visit.port.path &&
           other.port.device == opening.device && other.came <= opening.at;
  });
  if (back != visits_.end()) {
    visit.port = back->port;
    visit.is_there = true;
    visit.shown_until.reset();
    visits_.erase(back);
  }
}

void Watch::TakeGoing(const std::string& path, Clock::time_point now) {
  const auto visit = std::ranges::find_if(
      visits_, [&path](const Visit& other) { return other.is_there && other.port.path == path; });
  if (visit == visits_.end()) {
    return;
  }
  visit->is_there = false;
  if (visit->stage == Stage::kEnded && visit->status.end->reason == Reason::kLost) {
    visit->shown_until = now + kInViewFor;  // the worker has told it first
  } else if (visit->run == nullptr) {
    Drop(*visit);
  } else if (visit->status.attempt == 0) {
    visit->run->Withdraw();
  }
}

void Watch::TakeComing(const PortWatch::Port& port, Clock::time_point now) {
  const Stage stage = StageOf(port);
  Visit& visit = visits_.emplace_back();
  visit.port = port;
  visit.came = now;
  visit.stage = stage;
  PortAddress address;
  address.name = port.path;
  visit.assignment = Assign(plan_, address);
  visit.status = BeforeTheFirstAttempt(plan_, visit.assignment);
  if (stage == Stage::kLeftAlone) {
    visit.status.is_left_alone = true;
    ShowComing(visit);
  }
}

Watch::Stage Watch::StageOf(const PortWatch::Port& port) const {
  const bool is_known = std::ranges::any_of(visits_, [&port](const Visit& other) {
    return other.port.device == port.device && other.port.path != port.path &&
           (other.is_there || other.run != nullptr);
  });
  if (is_known) {
    return Stage::kOtherName;
  }
  return !has_looked_ && plan_.command_line.new_only ? Stage::kLeftAlone : Stage::kWaiting;
}

void Watch::TakeWaiting() {
  for (Visit& visit : visits_) {
    if (visit.stage == Stage::kWaiting && !IsServed(visit.port.path)) {
      ShowComing(visit);
      if (MayBegin()) {
        Begin(visit);
      }
    }
  }
}

bool Watch::IsServed(const std::string& path) const {
  return std::ranges::any_of(visits_, [&path](const Visit& visit) {
    return visit.run != nullptr && visit.port.path == path;
  });
}

bool Watch::IsInWork(dev_t device) const {
  return std::ranges::any_of(visits_, [device](const Visit& visit) {
    return visit.run != nullptr && visit.port.device == device;
  });
}

bool Watch::MayBegin() const {
  const std::size_t count = plan_.command_line.count;
  return !is_interrupted_ && (count == 0 || totals_.boards + Runs().size() < count);
}

void Watch::Begin(Visit& visit) {
  const std::string& folder = plan_.command_line.log_folder;
  if (!folder.empty()) {
    visit.assignment.log_path = LogPathOfNow(folder, visit.port.path);
    visit.status.log_path = visit.assignment.log_path;
  }
  visit.stage = Stage::kServed;
  visit.run = &Add(visit.assignment, visit.status);
  visit.run->Open();
}

// In the place of what is still in view of an earlier visit.
void Watch::ShowComing(Visit& visit) {
  if (visit.is_shown) {
    return;
  }
  const auto earlier = std::ranges::find_if(visits_, [&visit](const Visit& other) {
    return other.stage == Stage::kEnded && other.port.path == visit.port.path;
  });
  if (earlier != visits_.end()) {
    Drop(*earlier);
  }
  visit.is_shown = true;
  display_.Show(visit.status, Change::kCame);
}

// A device whose first name has gone before it was begun, or another that has got its number.
void Watch::ServeUnderAnotherName(dev_t device) {
  if (IsInWork(device)) {
    return;
  }
  const auto other = std::ranges::find_if(visits_, [device](const Visit& visit) {
    return visit.stage == Stage::kOtherName && visit.port.device == device;
  });
  if (other != visits_.end()) {
    other->stage = Stage::kWaiting;
  }
}

void Watch::Drop(Visit& visit) {
  if (visit.is_shown) {
    display_.Show(visit.status, Change::kGone);
  }
  if (visit.stage == Stage::kWaiting || visit.stage == Stage::kServed) {
    ServeUnderAnotherName(visit.port.device);
  }
  visits_.remove_if([&visit](const Visit& other) { return &other == &visit; });
}

void Watch::Forget(Clock::time_point now) {
  const auto is_over = [now](const Visit& visit) {
    return visit.shown_until && now >= *visit.shown_until;
  };
  for (auto visit = std::ranges::find_if(visits_, is_over); visit != visits_.end();
       visit = std::ranges::find_if(visits_, is_over)) {
    Drop(*visit);
  }
}

}  // namespace kvo::boards
