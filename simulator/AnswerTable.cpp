#include "simulator/AnswerTable.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "simulator/TextParsing.h"

namespace kvo::boardsimulator {

GivenAnswer ParseGivenAnswer(std::string_view text) {
  try {
    const auto [request, answer] = SplitAt('=', text);
    if (!answer) {
      throw std::invalid_argument("no '=', expected [application:|bootloader:]CODE=TEXT");
    }
    return {ParseRequest(request), Unescape(*answer)};
  } catch (const std::invalid_argument& complaint) {
    throw std::invalid_argument("answer '" + std::string(text) + "': " + complaint.what());
  }
}

// The bootloader's ping is answered by one byte; all else are lines.
AnswerTable::AnswerTable()
    : rows_{{{BoardState::kApplication, '0'}, {"ping_callback_function"}},
            {{BoardState::kBootloader, '0'}, {"A", false}},
            {{BoardState::kBootloader, '7'}, {"HW-INFO R3"}},
            {{BoardState::kBootloader, '8'}, {"BL-INFO 1.2"}},
            {{BoardState::kBootloader, '9'}, {"APP-INFO 2.10"}},
            {{std::nullopt, 's'}, {"SN000042"}},
            {{std::nullopt, 'h'}, {"HW-R3"}},
            {{std::nullopt, 'p'}, {"KVO-TMS"}},
            {{std::nullopt, 'V'}, {"V2.10"}},
            {{std::nullopt, 'v'}, {"v1.04"}},
            {{std::nullopt, 'b'}, {"BOOT_NORMAL"}}} {}

// The last one is the first to be found.
void AnswerTable::Give(GivenAnswer answer) { given_.insert(given_.begin(), std::move(answer)); }

void AnswerTable::SetText(std::uint8_t code, const std::string& text) {
  for (Row& row : rows_) {
    if (row.request.code == code) {
      row.answer.text = text;
    }
  }
}

std::optional<Answer> AnswerTable::Find(BoardState runs, std::uint8_t code) const {
  for (const GivenAnswer& given : given_) {
    if (given.request.Matches(runs, code)) {
      return Answer{given.bytes, false};
    }
  }
  if (IsMadeUnknown(code)) {
    return std::nullopt;
  }
  const auto row = std::ranges::find_if(
      rows_, [runs, code](const Row& candidate) { return candidate.request.Matches(runs, code); });
  if (row == rows_.end()) {
    return std::nullopt;
  }
  return row->answer;
}

bool AnswerTable::IsMadeUnknown(std::uint8_t code) const {
  return unknown_.find(static_cast<char>(code)) != std::string::npos;
}

}  // namespace kvo::boardsimulator
