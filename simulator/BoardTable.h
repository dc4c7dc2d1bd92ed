#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvo::boardsimulator {

// How a board names itself and what it runs; an image must be meant for exactly these.
struct BoardNames {
  std::string board;
  std::string application;
  std::string version;
};

// The names of the board that images named ..._KEY.bin are for; nothing if no board has that key.
// Keys are lower case.
std::optional<BoardNames> FindBoard(std::string_view key);

// All keys, in a fixed order.
std::vector<std::string> BoardKeys();

}  // namespace kvo::boardsimulator
