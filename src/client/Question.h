#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace kvo::bootloadertms {

// When an answer loses its CR, LF and NUL bytes: what is logged and what is returned depend on it.
enum class Cleaning { kNever, kBeforeLog, kAfterLog };

// A request of one byte and how its answer is taken.
struct Question {
  std::uint8_t request;
  Cleaning cleaning;
  std::span<const char* const> ask_again = {};  // words that mean "not now"
  std::uint32_t wait_us = 100'000;
};

// Whether `text` holds a word, or any of several, anywhere, behind a NUL byte too.
bool Contains(const std::string& text, const char* word);
bool ContainsAny(const std::string& text, std::span<const char* const> words);

}  // namespace kvo::bootloadertms
