#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Request.h"

namespace kvo::boardsimulator {

// What the board sends on a request.
struct Answer {
  std::string text;
  bool line_end_follows = true;
};

// An answer in place of all that the board would do on a request; no bytes: no answer.
struct GivenAnswer {
  Request request;
  std::string bytes;
};

// Reads [application:|bootloader:]CODE=TEXT, with escapes in TEXT. Throws std::invalid_argument,
// which says what is wrong.
GivenAnswer ParseGivenAnswer(std::string_view text);

// Which request is answered by which text. Given answers come before codes that were made unknown,
// and these before the table's own texts, in whatever order they were told.
class AnswerTable {
 public:
  // A table with the defaults.
  AnswerTable();

  // Changes the text that answers `code`, which must be one that a text answers by default.
  void SetText(std::uint8_t code, const std::string& text);
  // Of several for one request the last one counts.
  void Give(GivenAnswer answer);
  // Makes each byte of `codes` a code that the board does not know.
  void MakeUnknown(std::string_view codes) { unknown_ += codes; }

  // Nothing if no text answers this code.
  std::optional<Answer> Find(BoardState runs, std::uint8_t code) const;
  bool IsMadeUnknown(std::uint8_t code) const;

 private:
  struct Row {
    Request request;
    Answer answer;
  };

  std::vector<Row> rows_;
  std::vector<GivenAnswer> given_;
  std::string unknown_;
};

}  // namespace kvo::boardsimulator
