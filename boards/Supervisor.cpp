#include "boards/Supervisor.h"

#include <algorithm>

namespace kvo::boards {

Supervisor::Supervisor(const std::vector<Assignment>& assignments, std::vector<BoardStatus>& boards,
                       const Limits& limits, Workers& workers, Display& display)
    : BoardLoop(limits, workers, display) {
  for (std::size_t i = 0; i < boards.size(); ++i) {
    Add(assignments.at(i), boards.at(i));
  }
}

bool Supervisor::IsOver() const { return std::ranges::all_of(Runs(), &BoardRun::IsDone); }

// No board gets a byte before all ports are open.
void Supervisor::GoOn(Clock::time_point /*now*/) {
  if (!has_begun_) {
    has_begun_ = true;
    std::ranges::for_each(Runs(), &BoardRun::Open);
  }
  if (std::ranges::all_of(Runs(), &BoardRun::HasOpened)) {
    BeginReady();
  }
}

void Supervisor::Interrupt(int times) { times == 1 ? InterruptAll() : MakeHaste(); }

}  // namespace kvo::boards
