#include "client/CleanAnswer.h"

namespace kvo::bootloadertms {

std::string CleanAnswer(const std::string& answer) {
  std::string cleaned = answer;
  std::erase_if(cleaned, [](char byte) { return byte == '\r' || byte == '\n' || byte == '\0'; });
  return cleaned;
}

}  // namespace kvo::bootloadertms
