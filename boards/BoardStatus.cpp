#include "boards/BoardStatus.h"

#include <algorithm>

namespace kvo::boards {

bool IsGood(const BoardStatus::End& end) {
  return end.outcome == Outcome::kFlashed || end.outcome == Outcome::kReady ||
         end.outcome == Outcome::kAnswered;
}

Totals TotalsOf(const std::vector<BoardStatus>& boards) {
  const auto good = static_cast<std::size_t>(std::count_if(
      boards.begin(), boards.end(),
      [](const BoardStatus& board) { return board.end.has_value() && IsGood(*board.end); }));
  return {.boards = boards.size(), .good = good, .failed = boards.size() - good};
}

}  // namespace kvo::boards
