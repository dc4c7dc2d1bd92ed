#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Reads the small texts that options are made of.
namespace kvo::boardsimulator {

inline constexpr std::uint32_t kLargestCount = 0xFFFF'FFFF;
inline constexpr std::uint32_t kLongestTimeInMs = 3'600'000;

// A text and what follows its first separator, if the separator is there.
struct Halves {
  std::string_view before;
  std::optional<std::string_view> after;
};
Halves SplitAt(char separator, std::string_view text);

// Plain decimal digits; nothing if the text is anything else or the number out of bounds.
std::optional<std::uint32_t> ReadNumber(std::string_view digits, std::uint32_t smallest,
                                        std::uint32_t largest);

// The same; throws std::invalid_argument, "WHAT must be a number from ... to ...".
std::uint32_t NeedNumber(std::string_view digits, std::uint32_t smallest, std::uint32_t largest,
                         const std::string& what);

// How often something happens, as what follows the '/' tells it: a number from 1 on, or 'always',
// which gives nothing. Throws std::invalid_argument.
std::optional<std::uint32_t> ReadTimes(std::string_view times);

// Two hexadecimal digits; nothing if the text is anything else.
std::optional<std::uint8_t> ReadHexByte(std::string_view digits);

// The text with its escapes (\r \n \0 \\ \xHH) replaced. Throws std::invalid_argument.
std::string Unescape(std::string_view text);

}  // namespace kvo::boardsimulator
