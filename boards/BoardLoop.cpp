#include "boards/BoardLoop.h"

#include <algorithm>
#include <csignal>
#include <thread>

namespace kvo::boards {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kRefreshInterval = 100ms;
// Looks around between two refreshes; more come about only when the system doesn't let it wait for
// news, or take them.
constexpr int kMostLooks = 100;
constexpr std::chrono::milliseconds kNap = 1ms;
// How long ports may take to be given back in haste.
constexpr std::chrono::milliseconds kLastMoment = 700ms;
// Shorter than anybody presses a key twice.
constexpr std::chrono::milliseconds kOneInterrupt = 20ms;

}  // namespace

BoardLoop::BoardLoop(const Limits& limits, Workers& workers, Display& display)
    : limits_(limits), workers_(workers), display_(display) {}

int BoardLoop::Run() {
  try {
    Loop();
  } catch (...) {
    LeaveAll();
    throw;
  }
  return interrupted_by_.value_or(0);
}

void BoardLoop::Loop() {
  next_refresh_ = Clock::now();
  GoOn(next_refresh_);
  while (!IsOver()) {
    WaitForNews();
    TakeSignals();
    WorkerProcess::ReapLate();
    const Clock::time_point now = Clock::now();
    LookAround(now);
    GoOn(now);
    if (leave_at_ && now >= *leave_at_) {
      std::ranges::for_each(runs_, &BoardRun::Abandon);
    }
  }
}

void BoardLoop::LeaveAll() noexcept {
  std::ranges::for_each(runs_, &BoardRun::BeginToLeave);
  const Clock::time_point limit = Clock::now() + kLastMoment;
  while (std::ranges::any_of(runs_, &BoardRun::HasWorker) && Clock::now() < limit) {
    std::this_thread::sleep_for(kNap);
  }
  std::ranges::for_each(runs_, &BoardRun::Leave);
}

BoardRun& BoardLoop::Add(const Assignment& assignment, BoardStatus& status) {
  return runs_.emplace_back(assignment, status, limits_, workers_, display_);
}

void BoardLoop::Remove(const BoardRun& run) {
  runs_.remove_if([&run](const BoardRun& other) { return &other == &run; });
}

void BoardLoop::BeginReady() {
  const auto served = static_cast<std::size_t>(std::ranges::count_if(runs_, &BoardRun::IsServed));
  const std::size_t most = limits_.jobs == 0 ? runs_.size() : limits_.jobs;
  std::size_t free = most - std::min(most, served);
  for (BoardRun& run : runs_) {
    if (free > 0 && run.IsReady()) {
      run.Go();
      --free;
    }
  }
}

void BoardLoop::InterruptAll() { std::ranges::for_each(runs_, &BoardRun::Interrupt); }

void BoardLoop::MakeHaste() {
  std::ranges::for_each(runs_, &BoardRun::Kill);
  if (!leave_at_) {
    leave_at_ = Clock::now() + kLastMoment;
  }
}

// A board has something to tell now and then, and there may be many: only those are looked at, and
// all of them when a worker may have ended or it is time to refresh.
void BoardLoop::LookAround(Clock::time_point now) {
  auto board = awaited_.end() - static_cast<std::ptrdiff_t>(runs_.size());
  for (BoardRun& run : runs_) {
    const bool has_told = (board++)->revents != 0;
    const bool is_due = run.NextTime() && now >= *run.NextTime();
    if (has_told || is_due || is_all_worth_a_look_) {
      run.LookAround(now);
    }
  }
}

void BoardLoop::WaitForNews() {
  awaited_ = {{.fd = signals_.Descriptor(), .events = POLLIN, .revents = 0},
              {.fd = display_.Awaited(), .events = POLLOUT, .revents = 0},
              {.fd = Awaited(), .events = POLLIN, .revents = 0}};
  for (const BoardRun& run : runs_) {
    awaited_.push_back({.fd = run.Descriptor(), .events = POLLIN, .revents = 0});
  }
  const int count = ::poll(awaited_.data(), awaited_.size(), MillisecondsToTheNextTime());
  if (++looks_ > kMostLooks) {
    std::this_thread::sleep_for(kNap);
  }
  const bool is_time = Clock::now() >= next_refresh_;
  looks_ = is_time ? 0 : looks_;
  is_all_worth_a_look_ = is_time || count == -1 || awaited_.at(0).revents != 0;
  if (is_time || awaited_.at(1).revents != 0) {
    next_refresh_ = Clock::now() + kRefreshInterval;
    display_.Refresh();
  }
}

int BoardLoop::MillisecondsToTheNextTime() const {
  Clock::time_point next = next_refresh_;
  for (const BoardRun& run : runs_) {
    next = std::min(next, run.NextTime().value_or(next));
  }
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
  return static_cast<int>(std::max(wait, 0ms).count());
}

void BoardLoop::TakeSignals() {
  while (const std::optional<int> signal = signals_.Next()) {
    if (*signal == SIGWINCH) {
      next_refresh_ = Clock::now();
    } else if (*signal != SIGCHLD) {
      TakeInterrupt(*signal);
    }
  }
}

void BoardLoop::TakeInterrupt(int signal) {
  const Clock::time_point now = Clock::now();
  if (interrupted_by_ == signal && now - interrupted_at_ < kOneInterrupt) {
    return;
  }
  interrupted_by_ = signal;
  interrupted_at_ = now;
  Interrupt(++interrupts_);
}

}  // namespace kvo::boards
