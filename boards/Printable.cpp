#include "boards/Printable.h"

#include <algorithm>

namespace kvo::boards {

namespace {

// The length of the UTF-8 sequence at the begin of `text`, 0 if there is none. Overlong sequences,
// surrogates and what is beyond Unicode are none.
std::size_t SequenceLength(std::string_view text) {
  const auto byte = [text](std::size_t index) {
    return index < text.size() ? static_cast<unsigned char>(text[index]) : 0U;
  };
  const unsigned first = byte(0);
  const std::size_t length = first < 0x80                     ? 1
                             : first >= 0xc2 && first <= 0xdf ? 2
                             : first >= 0xe0 && first <= 0xef ? 3
                             : first >= 0xf0 && first <= 0xf4 ? 4
                                                              : 0;
  for (std::size_t index = 1; index < length; ++index) {
    if ((byte(index) & 0xc0U) != 0x80U) {
      return 0;
    }
  }
  const bool is_wrong = (first == 0xe0 && byte(1) < 0xa0) || (first == 0xed && byte(1) > 0x9f) ||
                        (first == 0xf0 && byte(1) < 0x90) || (first == 0xf4 && byte(1) > 0x8f);
  return is_wrong ? 0 : length;
}

bool IsControl(std::string_view sequence) {
  const auto first = static_cast<unsigned char>(sequence.front());
  // The second group of control characters is U+0080 to U+009F.
  return first < 0x20 || first == 0x7f ||
         (first == 0xc2 && static_cast<unsigned char>(sequence[1]) < 0xa0);
}

std::string Escaped(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string escaped;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    escaped += "\\x";
    escaped += kDigits[value >> 4U];
    escaped += kDigits[value & 0xfU];
  }
  return escaped;
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string printable;
  while (!text.empty()) {
    const std::size_t length = SequenceLength(text);
    const std::string_view sequence = text.substr(0, std::max<std::size_t>(length, 1));
    const bool is_shown = length > 0 && !IsControl(sequence);
    printable += is_shown ? std::string(sequence) : Escaped(sequence);
    text.remove_prefix(sequence.size());
  }
  return printable;
}

}  // namespace kvo::boards
