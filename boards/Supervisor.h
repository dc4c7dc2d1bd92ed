#pragma once

#include <chrono>
#include <memory>
#include <vector>

#include "boards/BoardRun.h"
#include "boards/SignalQueue.h"

namespace kvo::boards {

// Runs a worker per board, and decides when each begins and ends: first all ports are opened, then
// as many boards as allowed are served at once. A worker that crashes, exceeds its deadline or
// doesn't end when it is told to harms no other board.
//
// SIGINT, SIGTERM and SIGHUP end the boards in work; a second one kills the workers at once. A
// signal that was ignored at the start stays so.
class Supervisor {
 public:
  // Borrows all of them. `boards` must not move while it runs.
  // Throws `std::system_error` when signals can't be had.
  Supervisor(std::vector<BoardStatus>& boards, const Limits& limits, Workers& workers,
             Display& display);

  // Until all boards have ended; the display has been told then. The result is the signal that
  // ended it, or 0.
  int Run();

  // Whether it ended, or had to end, in haste: by a second signal.
  bool HasBeenToldTwice() const { return leave_at_.has_value(); }

 private:
  bool AllAre(bool (BoardRun::*in_a_state)() const) const;
  void BeginNext();
  void WaitForNews();
  int MillisecondsToTheNextTime() const;
  void TakeSignals();
  void Interrupt(int signal);

  std::size_t jobs_;
  Display& display_;
  SignalQueue signals_;
  std::vector<std::unique_ptr<BoardRun>> runs_;
  Clock::time_point next_refresh_;
  std::optional<int> interrupted_by_;
  std::optional<Clock::time_point> leave_at_;
};

}  // namespace kvo::boards
