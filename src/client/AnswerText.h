#pragma once

#include <algorithm>
#include <span>
#include <string>

namespace kvo::bootloadertms {

// A copy of `answer` without its CR, LF and NUL bytes, the others in their order.
inline std::string CleanAnswer(const std::string& answer) {
  std::string cleaned = answer;
  std::erase_if(cleaned, [](char byte) { return byte == '\r' || byte == '\n' || byte == '\0'; });
  return cleaned;
}

// Whether `text` holds a word, or any of several, anywhere, even after a NUL byte.
inline bool Contains(const std::string& text, const char* word) {
  return text.find(word) != std::string::npos;
}

inline bool ContainsAny(const std::string& text, std::span<const char* const> words) {
  return std::ranges::any_of(words, [&text](const char* word) { return Contains(text, word); });
}

}  // namespace kvo::bootloadertms
