#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulator/Request.h"

namespace kvo::boardsimulator {

// A word with which the board makes the host ask again, in place of the right answer.
struct AskAgain {
  std::string word;
  Request request;
  std::optional<std::uint32_t> times = 1;  // nothing: always
  std::string text;                        // as it was given
};

// Reads WORD@[application:|bootloader:]CODE[/TIMES], such as "Cannot@s/2", with escapes in WORD.
// Throws std::invalid_argument, which says what is wrong.
AskAgain ParseAskAgain(std::string_view text);

// The words of a session and how often each is still to come.
class AskAgainPlan {
 public:
  explicit AskAgainPlan(std::vector<AskAgain> words) : words_(std::move(words)) {}

  // The word that answers this request, which counts as having come; nothing if the right answer
  // is due. Several for one request come one after the other in the order given.
  std::optional<AskAgain> Take(BoardState runs, std::uint8_t code);

 private:
  std::vector<AskAgain> words_;
};

}  // namespace kvo::boardsimulator
