#pragma once

#include <vector>

#include "boards/BoardStatus.h"
#include "boards/display/BoardLine.h"
#include "boards/display/InPlace.h"

namespace kvo::boards {

// Sizes of a banner: 0 is the largest, the last one a single line.
inline constexpr std::size_t kBannerSizes = 7;
inline constexpr std::size_t kSmallestBanner = kBannerSizes - 1;

// How the board ended, which it must have, to be seen from afar: "FLASHED", "READY" or "FAILED" in
// block letters, and below it the board's port and message. With colour it is on green or red over
// the whole width. What is too wide for the layout is smaller.
std::vector<DrawnLine> BannerOf(const BoardStatus& board, const LineLayout& layout,
                                std::size_t size, bool with_color);

}  // namespace kvo::boards
