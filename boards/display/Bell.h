#pragma once

#include <deque>

#include "boards/display/Display.h"
#include "boards/display/Output.h"

namespace kvo::boards {

// Rings the terminal's bell for each board that has ended: once when it is as it should be, else
// three times.
class Bell : public Display {
 public:
  // Borrows the descriptor.
  explicit Bell(int descriptor) : output_(descriptor) {}

  void Show(const BoardStatus& board, Change change) override;
  void Refresh() override;
  void Finish(const Totals& totals) override;
  int Awaited() const override { return output_.Awaited(); }

 private:
  void RingNext();

  Output output_;
  std::deque<int> rings_;  // that are to come, by board
  Clock::time_point next_;
};

}  // namespace kvo::boards
