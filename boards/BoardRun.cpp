#include "boards/BoardRun.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <system_error>
#include <utility>

#include "boards/Diagnosis.h"

namespace kvo::boards {

namespace {

using namespace std::chrono_literals;

// Beyond what the worker itself waits for: names that lead to servers that don't answer, ports that
// are to come back.
constexpr std::chrono::milliseconds kOpeningLimit = 15s;
// From the signal that tells a worker to end, to the one that kills it.
constexpr std::chrono::milliseconds kEndingLimit = 600ms;
// For a worker that has finished, or hasn't begun, to give its port back.
constexpr std::chrono::milliseconds kFinishingLimit = 2s;
constexpr std::chrono::milliseconds kKillingLimit = 200ms;
constexpr std::chrono::milliseconds kGivingBackLimit = 600ms;

// Any shorter is none that a clock has measured.
constexpr double kShortestTransferSeconds = 1e-6;

double Seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

bool IsRepeatable(Reason reason) {
  switch (reason) {
    case Reason::kBroken:
    case Reason::kLost:
    case Reason::kDeadline:
    case Reason::kRejected:
      return true;
    default:
      return false;
  }
}

std::string InSeconds(std::chrono::milliseconds time) {
  std::string text = std::to_string(time.count() / 1000);
  if (time.count() % 1000 != 0) {
    text += "." + std::to_string(1000 + time.count() % 1000).substr(1);
    text.erase(text.find_last_not_of('0') + 1);
  }
  return text + " s";
}

}  // namespace

BoardRun::BoardRun(const Assignment& assignment, BoardStatus& status, const Limits& limits,
                   Workers& workers, Display& display)
    : assignment_(assignment),
      status_(status),
      limits_(limits),
      workers_(workers),
      display_(display) {}

int BoardRun::Descriptor() const { return worker_ ? worker_->Events().Descriptor() : -1; }

void BoardRun::Open() {
  status_.began = Clock::now();
  StartWorker();
}

void BoardRun::StartWorker() {
  finished_.reset();
  cause_.reset();
  has_begun_ = false;
  status_.step = Step::kOpening;
  Enter(State::kOpening, kOpeningLimit);
  try {
    const int attempt = status_.attempt + 1;
    worker_ = std::make_unique<WorkerProcess>([this, attempt](EventSender& events, int) {
      workers_.Serve(assignment_, attempt, events);
    });
  } catch (const std::system_error& error) {
    cause_ = {Reason::kCrashed, std::string("no process can be started: ") + error.what()};
    Conclude();
  }
}

void BoardRun::Go() {
  status_.began = Clock::now();
  BeginAttempt();
}

void BoardRun::BeginAttempt() {
  has_begun_ = true;
  ++status_.attempt;
  status_.block = 0;
  status_.bytes_sent = 0;
  Enter(State::kServing, assignment_.deadline);
  if (assignment_.deadline == 0ms) {
    next_time_.reset();
  }
  display_.Show(status_, Change::kAttempt);
  if (!worker_->Events().SendGo()) {
    TellToEnd(Reason::kCrashed, "the process that serves it can't be told to begin");
  }
}

void BoardRun::Enter(State state, std::chrono::milliseconds limit) {
  state_ = state;
  next_time_ = Clock::now() + limit;
}

void BoardRun::LookAround(Clock::time_point now) {
  if (state_ == State::kDone) {
    return;
  }
  now_ = now;
  TakeEvents();
  const std::optional<int> wait_status = worker_ ? worker_->WaitStatus() : std::nullopt;
  if (wait_status) {
    TakeEnd(*wait_status);
  } else if (next_time_ && now >= *next_time_) {
    TakeTime();
  }
}

void BoardRun::TakeEvents() {
  while (worker_) {
    std::optional<EventReceiver::Message> message = worker_->Events().Receive();
    if (!message) {
      return;
    }
    Take(std::move(*message));
  }
}

void BoardRun::Take(EventReceiver::Message message) {
  const Event& event = message.event;
  switch (event.kind) {
    case EventKind::kReady:
      ready_ = event;
      port_ = std::move(message.descriptor);
      NoteOpening();
      if (state_ == State::kOpening && status_.attempt > 0) {
        BeginAttempt();
      } else if (state_ == State::kOpening) {
        state_ = State::kReady;
        next_time_.reset();
        status_.step = Step::kWaiting;
      }
      break;
    case EventKind::kStep:
      status_.step = event.step;
      status_.blocks = event.blocks;
      if (event.step == Step::kTransfer) {
        status_.transfer_began = Clock::now();
      }
      display_.Show(status_, Change::kStep);
      break;
    case EventKind::kProgress:
    case EventKind::kStopped:
      TakePosition(event);
      if (has_begun_) {
        display_.Show(status_, Change::kProgress);
      }
      break;
    case EventKind::kAnswer:
      status_.answers.at(static_cast<std::size_t>(event.field)) = event.Text();
      break;
    case EventKind::kFinished:
      TakeFinish(event);
      break;
  }
}

// Within the image, whatever a worker tells that has gone wrong.
void BoardRun::TakePosition(const Event& event) {
  status_.blocks = event.blocks;
  status_.block = std::min(event.block, event.blocks);
  status_.bytes_sent = std::min(event.bytes_sent, status_.bytes);
}

// A worker finishes once, and one that hasn't been told to go can only fail. One that gives a port
// back has no say.
void BoardRun::TakeFinish(const Event& event) {
  if (finished_ || state_ == State::kGivingBack ||
      (!has_begun_ && event.outcome != Outcome::kFailed)) {
    return;
  }
  finished_ = event;
  TakePosition(event);
  Enter(State::kEnding, kFinishingLimit);
}

void BoardRun::NoteOpening() {
  struct stat status {};
  ::fstat(port_.Get(), &status);
  last_opening_ = {now_, status.st_rdev};
}

void BoardRun::TakeEnd(int wait_status) {
  TakeEvents();  // what it sent before it ended
  worker_.reset();
  if (state_ == State::kGivingBack) {
    Conclude();
    return;
  }
  if (!finished_ && !cause_) {
    cause_ = {Reason::kCrashed, EndOfProcess(wait_status)};
  }
  const bool has_given_back = WIFEXITED(wait_status) && WEXITSTATUS(wait_status) == 0;
  if (has_given_back) {
    Conclude();
  } else {
    GiveBackPort();
  }
}

void BoardRun::TakeTime() {
  switch (state_) {
    case State::kOpening:
      TellToEnd(Reason::kDeadline, "the port was not open after " + InSeconds(kOpeningLimit));
      break;
    case State::kServing:
      TellToEnd(Reason::kDeadline, "not finished after " + InSeconds(assignment_.deadline));
      break;
    case State::kEnding:
      worker_->Signal(SIGKILL);
      Enter(State::kKilled, kKillingLimit);
      break;
    case State::kKilled:  // It hangs in the system.
      worker_.reset();
      GiveBackPort();
      break;
    case State::kGivingBack:
      worker_.reset();
      Conclude();
      [[fallthrough]];
    case State::kReady:  // These wait for no time.
    case State::kDone:
      break;
  }
}

void BoardRun::TellToEnd(Reason reason, const std::string& text) {
  cause_ = {reason, text};
  worker_->Signal(SIGTERM);
  Enter(State::kEnding, kEndingLimit);
}

// A worker that is just opening its port ends when it has: killed, it would leave it locked.
void BoardRun::Withdraw() {
  withdrawn_ = true;
  const bool is_opening = state_ == State::kOpening;
  Interrupt();
  if (is_opening) {
    Enter(State::kEnding, kFinishingLimit);
  }
}

bool BoardRun::IsUnderWay() const {
  return state_ == State::kOpening || state_ == State::kReady || state_ == State::kServing;
}

void BoardRun::Interrupt() {
  interrupted_ = true;
  if (IsUnderWay()) {
    TellToEnd(Reason::kInterrupted, "interrupted");
  }
}

void BoardRun::Kill() {
  if (state_ == State::kEnding) {
    worker_->Signal(SIGKILL);
  }
}

void BoardRun::Abandon() {
  if (state_ != State::kDone) {
    worker_.reset();
    if (!finished_ && !cause_) {
      cause_ = {Reason::kInterrupted, "interrupted"};
    }
    Conclude();
  }
}

void BoardRun::BeginToLeave() noexcept {
  interrupted_ = true;
  if (IsUnderWay()) {
    state_ = State::kEnding;
    if (worker_) {
      worker_->Signal(SIGTERM);
    }
  }
}

bool BoardRun::HasWorker() noexcept { return worker_ && !worker_->WaitStatus(); }

void BoardRun::Leave() noexcept {
  const bool has_given_back = worker_ && worker_->WaitStatus() == 0;
  const auto try_to = [](const auto& action) {
    try {
      action();
    } catch (...) {
      // So it can't be done.
    }
  };
  try_to([this] { TakeEvents(); });
  if (port_.Get() != -1 && !has_given_back) {
    worker_.reset();
    try_to([this] { workers_.GiveBack(ready_, port_.Get(), IsInTransfer()); });
  }
  try_to([this] { Abandon(); });
}

// A worker that has finished has ended the transfer, too.
bool BoardRun::IsInTransfer() const { return status_.step == Step::kTransfer && !finished_; }

void BoardRun::GiveBackPort() {
  if (port_.Get() == -1) {
    Conclude();
    return;
  }
  const bool in_transfer = IsInTransfer();
  Enter(State::kGivingBack, kGivingBackLimit);
  try {
    worker_ = std::make_unique<WorkerProcess>(
        [this, in_transfer](EventSender&, int descriptor) {
          workers_.GiveBack(ready_, descriptor, in_transfer);
        },
        port_.Get());
  } catch (const std::system_error&) {
    workers_.GiveBack(ready_, port_.Get(), in_transfer);
    Conclude();
  }
}

void BoardRun::Conclude() {
  port_.Close();  // a device that is plugged in again gets its name back only then
  if (withdrawn_ && status_.attempt == 0 && !finished_) {
    state_ = State::kDone;
    next_time_.reset();
    return;
  }
  const BoardStatus::End end = finished_ ? Told() : Untold();
  if (IsTriedAgainAfter(end)) {
    former_failure_ = end.message;
    StartWorker();
    return;
  }
  state_ = State::kDone;
  next_time_.reset();
  status_.end = end;
  status_.end->seconds = Seconds(Clock::now() - status_.began);
  display_.Show(status_, Change::kEnd);
}

// Of an attempt that didn't come about: what became of the board is the last one's matter.
std::string BoardRun::WithFormerFailure(const std::string& text) const {
  return has_begun_ || former_failure_.empty()
             ? text
             : text + " before another attempt; the last one: " + former_failure_;
}

BoardStatus::End BoardRun::Told() const {
  BoardStatus::End end{};
  end.outcome = finished_->outcome;
  end.reason = finished_->reason;
  end.message = WithFormerFailure(std::string(finished_->Text()));
  // The worker's own message tells the place in a transfer alone.
  if (end.reason == Reason::kLost && has_begun_ && status_.step != Step::kOpening &&
      status_.step != Step::kTransfer) {
    end.message = Diagnosis(status_, end.message);
  }
  end.in_transfer = finished_->step == Step::kTransfer;
  if (finished_->transfer_seconds >= kShortestTransferSeconds) {
    end.bytes_per_second = static_cast<double>(status_.bytes) / finished_->transfer_seconds;
  }
  return end;
}

BoardStatus::End BoardRun::Untold() const {
  BoardStatus::End end{};
  end.outcome = Outcome::kFailed;
  end.reason = cause_->reason;
  end.message = has_begun_ || former_failure_.empty() ? Diagnosis(status_, cause_->text)
                                                      : WithFormerFailure(cause_->text);
  end.in_transfer = status_.step == Step::kTransfer;
  return end;
}

bool BoardRun::IsTriedAgainAfter(const BoardStatus::End& end) const {
  return end.outcome == Outcome::kFailed && IsRepeatable(end.reason) && !interrupted_ &&
         has_begun_ && status_.attempt < limits_.attempts;
}

}  // namespace kvo::boards
