#include "boards/Supervisor.h"

#include <poll.h>

#include <algorithm>
#include <csignal>

namespace kvo::boards {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kRefreshInterval = 100ms;
// How long ports may take to be given back after the second interrupt.
constexpr std::chrono::milliseconds kLastMoment = 700ms;

}  // namespace

Supervisor::Supervisor(std::vector<BoardStatus>& boards, const Limits& limits, Workers& workers,
                       Display& display)
    : jobs_(limits.jobs == 0 ? boards.size() : limits.jobs), display_(display) {
  for (std::size_t i = 0; i < boards.size(); ++i) {
    runs_.push_back(std::make_unique<BoardRun>(i, boards.at(i), limits, workers, display));
  }
}

int Supervisor::Run() {
  next_refresh_ = Clock::now();
  for (const auto& run : runs_) {
    run->Open();
  }
  while (!AllAre(&BoardRun::IsDone)) {
    WaitForNews();
    TakeSignals();
    const Clock::time_point now = Clock::now();
    for (const auto& run : runs_) {
      run->LookAround(now);
    }
    BeginNext();
    if (leave_at_ && now >= *leave_at_) {
      std::ranges::for_each(runs_, [](const auto& run) { run->Abandon(); });
    }
  }
  return interrupted_by_.value_or(0);
}

bool Supervisor::AllAre(bool (BoardRun::*in_a_state)() const) const {
  return std::ranges::all_of(runs_, [in_a_state](const auto& run) { return (*run.*in_a_state)(); });
}

// No board gets a byte before all ports are open.
void Supervisor::BeginNext() {
  if (interrupted_by_ || !AllAre(&BoardRun::HasOpened)) {
    return;
  }
  const auto served = std::ranges::count_if(runs_, [](const auto& run) { return run->IsServed(); });
  std::size_t free = jobs_ - static_cast<std::size_t>(served);
  for (const auto& run : runs_) {
    if (free > 0 && run->IsReady()) {
      run->Go();
      --free;
    }
  }
}

void Supervisor::WaitForNews() {
  std::vector<pollfd> awaited = {{.fd = signals_.Descriptor(), .events = POLLIN, .revents = 0},
                                 {.fd = display_.Awaited(), .events = POLLOUT, .revents = 0}};
  for (const auto& run : runs_) {
    awaited.push_back({.fd = run->Descriptor(), .events = POLLIN, .revents = 0});
  }
  ::poll(awaited.data(), awaited.size(), MillisecondsToTheNextTime());
  if (awaited.at(1).revents != 0 || Clock::now() >= next_refresh_) {
    next_refresh_ = Clock::now() + kRefreshInterval;
    display_.Refresh();
  }
}

int Supervisor::MillisecondsToTheNextTime() const {
  Clock::time_point next = next_refresh_;
  for (const auto& run : runs_) {
    next = std::min(next, run->NextTime().value_or(next));
  }
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
  return static_cast<int>(std::max(wait, 0ms).count());
}

void Supervisor::TakeSignals() {
  while (const std::optional<int> signal = signals_.Next()) {
    if (*signal == SIGWINCH) {
      next_refresh_ = Clock::now();
    } else if (*signal != SIGCHLD) {
      Interrupt(*signal);
    }
  }
}

void Supervisor::Interrupt(int signal) {
  const bool is_the_first = !interrupted_by_;
  interrupted_by_ = signal;
  for (const auto& run : runs_) {
    if (is_the_first) {
      run->Interrupt();
    } else {
      run->Kill();
    }
  }
  if (!is_the_first && !leave_at_) {
    leave_at_ = Clock::now() + kLastMoment;
  }
}

}  // namespace kvo::boards
