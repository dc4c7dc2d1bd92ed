#include "boards/display/Color.h"

#include "boards/display/Columns.h"

namespace kvo::boards {

std::string Colored(const std::string& text, const BoardStatus::End& end) {
  if (end.outcome == Outcome::kAnswered) {
    return text;
  }
  return (IsGood(end) ? "\x1b[32m" : "\x1b[31m") + text + "\x1b[0m";
}

DrawnLine Drawn(const ScreenLine& line, const BoardStatus& board, bool with_color) {
  const std::string text = with_color && board.end.has_value()
                               ? line.head + Colored(line.result, *board.end)
                               : line.Text();
  return {text, ColumnsOf(line.Text())};
}

std::vector<std::string> HistoryOf(const BoardStatus& board, const LineLayout& layout,
                                   bool with_color) {
  std::vector<std::string> lines;
  for (const ScreenLine& line : WholeLinesOf(board, layout)) {
    lines.push_back(Drawn(line, board, with_color).text);
  }
  return lines;
}

}  // namespace kvo::boards
