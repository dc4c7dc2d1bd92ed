#pragma once

#include <string>
#include <vector>

#include "boards/BoardStatus.h"
#include "boards/display/BoardLine.h"
#include "boards/display/InPlace.h"

// Green for what is good, red for what isn't.
namespace kvo::boards {

// `text`, which belongs to how a board ended. What a board has answered keeps the terminal's own
// colour.
std::string Colored(const std::string& text, const BoardStatus::End& end);

// The line with the result in colour, if there is one and `with_color`.
DrawnLine Drawn(const ScreenLine& line, const BoardStatus& board, bool with_color);

// How the board ended, for the history above what is drawn in place.
std::vector<std::string> HistoryOf(const BoardStatus& board, const LineLayout& layout,
                                   bool with_color);

}  // namespace kvo::boards
