#include "simulator/Request.h"

#include <array>
#include <stdexcept>

#include "simulator/TextParsing.h"

namespace kvo::boardsimulator {
namespace {

struct Prefix {
  std::string_view text;
  BoardState asked;
};

constexpr std::array<Prefix, 2> kPrefixes{
    {{"application:", BoardState::kApplication}, {"bootloader:", BoardState::kBootloader}}};

bool IsPrintable(std::uint8_t code) { return code >= 0x20 && code < 0x7F; }

std::uint8_t ParseCode(std::string_view text) {
  if (text.size() == 1 && IsPrintable(static_cast<std::uint8_t>(text.front()))) {
    return static_cast<std::uint8_t>(text.front());
  }
  if (text.starts_with("0x")) {
    if (const auto code = ReadHexByte(text.substr(2))) {
      return *code;
    }
  }
  throw std::invalid_argument("'" + std::string(text) +
                              "' is no code, expected one printable character or 0xHH, with "
                              "'application:' or 'bootloader:' before it or neither");
}

}  // namespace

Request ParseRequest(std::string_view text) {
  for (const Prefix& prefix : kPrefixes) {
    if (!text.starts_with(prefix.text)) {
      continue;
    }
    return {prefix.asked, ParseCode(text.substr(prefix.text.size()))};
  }
  return {std::nullopt, ParseCode(text)};
}

std::string NameOfCode(std::uint8_t code) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  if (IsPrintable(code)) {
    return {'\'', static_cast<char>(code), '\''};
  }
  return {'0', 'x', kDigits[code >> 4U], kDigits[code & 0x0FU]};
}

}  // namespace kvo::boardsimulator
