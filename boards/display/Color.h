#pragma once

#include <string>

#include "boards/BoardStatus.h"

namespace kvo::boards {

// `text`, which belongs to how a board ended, in green or red. What a board has answered keeps the
// terminal's own colour.
inline std::string Colored(const std::string& text, const BoardStatus::End& end) {
  if (end.outcome == Outcome::kAnswered) {
    return text;
  }
  return (IsGood(end) ? "\x1b[32m" : "\x1b[31m") + text + "\x1b[0m";
}

}  // namespace kvo::boards
