#pragma once

#include <vector>

#include "boards/BoardLoop.h"

namespace kvo::boards {

// Runs a worker per board, all of which are known from the start: first all ports are opened, then
// as many boards as allowed are served at once. A worker that crashes, exceeds its deadline or
// doesn't end when it is told to harms no other board.
//
// The first signal ends the boards in work; the second kills the workers at once.
class Supervisor : public BoardLoop {
 public:
  // Borrows all of them; `boards` are those of the assignments, in the same order. Neither may move
  // while it runs. Throws `std::system_error` when signals can't be had.
  Supervisor(const std::vector<Assignment>& assignments, std::vector<BoardStatus>& boards,
             const Limits& limits, Workers& workers, Display& display);

 private:
  bool IsOver() const override;
  void GoOn(Clock::time_point now) override;
  void Interrupt(int times) override;

  bool has_begun_ = false;
};

}  // namespace kvo::boards
