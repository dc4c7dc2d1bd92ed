#pragma once

#include <functional>
#include <string>
#include <vector>

#include "boards/display/BoardLine.h"
#include "boards/display/InPlace.h"
#include "boards/display/Sentences.h"

namespace kvo::boards {

// For a terminal: a line per board. When there are more boards than rows, those that have ended
// scroll away.
class Bars : public Display {
 public:
  struct Options {
    Task task = Task::kFlash;
    bool with_color = false;
  };

  // Borrows the descriptor and the boards. `size` tells the screen's size at any time.
  Bars(int descriptor, const std::vector<BoardStatus>& boards, Options options,
       std::function<ScreenSize()> size);

  void Show(const BoardStatus& /*board*/, Change /*change*/) override {}
  void Refresh() override;
  void Finish(const Totals& totals) override;
  int Awaited() const override { return in_place_.Awaited(); }

 private:
  std::vector<std::string> TakeEnded(const LineLayout& layout);
  std::size_t CountOfUnprinted() const;
  std::vector<DrawnLine> LinesOf(const LineLayout& layout, std::size_t room) const;

  InPlace in_place_;
  const std::vector<BoardStatus>& boards_;
  Options options_;
  std::vector<bool> printed_;  // for good, by board
};

}  // namespace kvo::boards
