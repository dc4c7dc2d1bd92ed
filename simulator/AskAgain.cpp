#include "simulator/AskAgain.h"

#include <stdexcept>

#include "simulator/TextParsing.h"

namespace kvo::boardsimulator {
namespace {

AskAgain Parse(std::string_view text) {
  const auto [word, rest] = SplitAt('@', text);
  if (!rest || word.empty()) {
    throw std::invalid_argument("expected WORD@[application:|bootloader:]CODE[/TIMES]");
  }
  const auto [request, times] = SplitAt('/', *rest);
  AskAgain again{Unescape(word), ParseRequest(request), 1, std::string(text)};
  if (times) {
    again.times = ReadTimes(*times);
  }
  return again;
}

}  // namespace

AskAgain ParseAskAgain(std::string_view text) {
  try {
    return Parse(text);
  } catch (const std::invalid_argument& complaint) {
    throw std::invalid_argument("'" + std::string(text) + "': " + complaint.what());
  }
}

std::optional<AskAgain> AskAgainPlan::Take(BoardState runs, std::uint8_t code) {
  for (AskAgain& again : words_) {
    if (!again.request.Matches(runs, code) || again.times == 0U) {
      continue;
    }
    if (again.times) {
      --*again.times;
    }
    return again;
  }
  return std::nullopt;
}

}  // namespace kvo::boardsimulator
