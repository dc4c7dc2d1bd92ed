#include "client/Question.h"

#include <algorithm>

namespace kvo::bootloadertms {

bool Contains(const std::string& text, const char* word) {
  return text.find(word) != std::string::npos;
}

bool ContainsAny(const std::string& text, std::span<const char* const> words) {
  return std::any_of(words.begin(), words.end(),
                     [&text](const char* word) { return Contains(text, word); });
}

}  // namespace kvo::bootloadertms
