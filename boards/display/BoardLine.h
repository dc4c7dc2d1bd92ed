#pragma once

#include <string>
#include <vector>

#include "boards/BoardStatus.h"

// What a terminal shows of one board: the text of its lines, nothing drawn yet.
namespace kvo::boards {

struct ScreenLine {
  std::string head;
  // How the board ended; in colour if there is any.
  std::string result;

  std::string Text() const { return head + result; }
};

// The columns that all lines share.
struct LineLayout {
  std::size_t width = 0;  // of a line
  std::size_t port = 0;
  std::size_t name = 0;  // of the board; 0: there is no room for it
};
LineLayout LayoutFor(const std::vector<const BoardStatus*>& boards, std::size_t width);
LineLayout LayoutFor(const std::vector<BoardStatus>& boards, std::size_t width);

// What the board is doing, in one line that is cut to the width. The narrower it is, the fewer
// parts it has.
ScreenLine LineOf(const BoardStatus& board, const LineLayout& layout, Clock::time_point now);

// How the board ended, in as many lines as that takes, the port and the message whole.
std::vector<ScreenLine> WholeLinesOf(const BoardStatus& board, const LineLayout& layout);

// The same, with a port and words that are cut to the width.
std::vector<ScreenLine> WrappedLinesOf(const BoardStatus& board, const LineLayout& layout);

}  // namespace kvo::boards
