#pragma once

#include <functional>
#include <string>
#include <vector>

#include "boards/display/BoardLine.h"
#include "boards/display/Output.h"
#include "boards/display/Sentences.h"

namespace kvo::boards {

struct ScreenSize {
  std::size_t columns = 80;
  std::size_t rows = 24;
  bool operator==(const ScreenSize&) const = default;
};

// Of the terminal; 80 by 24 if it doesn't tell.
ScreenSize SizeOfTerminal(int descriptor);

// For a terminal: a line per board, drawn anew in place, in the terminal's own scrolling text. When
// there are more boards than rows, those that have ended scroll away.
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
  int Awaited() const override { return output_.Awaited(); }

 private:
  struct Drawn {
    std::string text;
    std::size_t columns = 0;
    bool operator==(const Drawn&) const = default;
  };
  struct Frame {
    ScreenSize size;
    std::vector<Drawn> lines;
    bool operator==(const Frame&) const = default;
  };

  std::string PrintEnded(const LineLayout& layout);
  std::string Ended(const BoardStatus& board, const LineLayout& layout) const;
  std::string InColor(const ScreenLine& line, const BoardStatus& board) const;
  std::size_t CountOfUnprinted() const;
  std::vector<Drawn> LinesOf(const LineLayout& layout, std::size_t room) const;
  std::string Rewind(const ScreenSize& size) const;

  Output output_;
  const std::vector<BoardStatus>& boards_;
  Options options_;
  std::function<ScreenSize()> size_;
  std::vector<bool> printed_;  // for good, by board
  Frame drawn_;
  Clock::time_point drawn_at_;
};

}  // namespace kvo::boards
