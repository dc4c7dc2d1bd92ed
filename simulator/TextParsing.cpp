#include "simulator/TextParsing.h"

#include <array>
#include <charconv>
#include <stdexcept>

namespace kvo::boardsimulator {
namespace {

template <typename Number>
std::optional<Number> ReadWhole(std::string_view digits, int base) {
  Number number = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number, base);
  if (digits.empty() || stop != end || error != std::errc()) {
    return std::nullopt;
  }
  return number;
}

struct Escape {
  char letter;
  char meaning;
};

constexpr std::array<Escape, 4> kEscapes{{{'r', '\r'}, {'n', '\n'}, {'0', '\0'}, {'\\', '\\'}}};

// Takes the escape that `rest` begins with, after its backslash, off `rest`.
char TakeEscape(std::string_view& rest) {
  if (rest.starts_with('x')) {
    if (const auto byte = ReadHexByte(rest.substr(1, 2))) {
      rest.remove_prefix(3);
      return static_cast<char>(*byte);
    }
    throw std::invalid_argument("'\\x' needs two hexadecimal digits, as in \\x1b");
  }
  for (const Escape& escape : kEscapes) {
    if (!rest.starts_with(escape.letter)) {
      continue;
    }
    rest.remove_prefix(1);
    return escape.meaning;
  }
  throw std::invalid_argument("unknown escape '\\" + std::string(rest.substr(0, 1)) +
                              R"(', there are: \r \n \0 \\ \xHH)");
}

}  // namespace

Halves SplitAt(char separator, std::string_view text) {
  const std::size_t position = text.find(separator);
  if (position == std::string_view::npos) {
    return {text, std::nullopt};
  }
  return {text.substr(0, position), text.substr(position + 1)};
}

std::optional<std::uint32_t> ReadNumber(std::string_view digits, std::uint32_t smallest,
                                        std::uint32_t largest) {
  const auto number = ReadWhole<std::uint32_t>(digits, 10);
  if (!number || *number < smallest || *number > largest) {
    return std::nullopt;
  }
  return number;
}

std::uint32_t NeedNumber(std::string_view digits, std::uint32_t smallest, std::uint32_t largest,
                         const std::string& what) {
  if (const auto number = ReadNumber(digits, smallest, largest)) {
    return *number;
  }
  throw std::invalid_argument(what + " must be a number from " + std::to_string(smallest) + " to " +
                              std::to_string(largest));
}

std::optional<std::uint32_t> ReadTimes(std::string_view times) {
  if (times == "always") {
    return std::nullopt;
  }
  return NeedNumber(times, 1, kLargestCount, "if not 'always', what follows '/'");
}

std::optional<std::uint8_t> ReadHexByte(std::string_view digits) {
  if (digits.size() != 2) {
    return std::nullopt;
  }
  return ReadWhole<std::uint8_t>(digits, 16);
}

std::string Unescape(std::string_view text) {
  std::string plain;
  while (!text.empty()) {
    const char first = text.front();
    text.remove_prefix(1);
    plain += first == '\\' ? TakeEscape(text) : first;
  }
  return plain;
}

}  // namespace kvo::boardsimulator
