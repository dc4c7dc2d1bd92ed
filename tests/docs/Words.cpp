// Prints the program's own tables for scripts/check_documents: codes with their labels, what is
// taken as a key in the name of an image, with its board and application, and speeds.

#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <string>

#include "front_end/Commands.h"
#include "serial/Baudrate.h"
#include "transfer/BoardDefinition.h"

namespace {

using kvo::bootloadertms::Baudrate;
using kvo::bootloadertms::BoardDefinition;

constexpr std::uint32_t kFasterThanAnyLine = 10'000'000;

void PrintCodes() {
  for (const kvo::bootloadertms::Command& command : kvo::bootloadertms::Commands()) {
    std::cout << "code 0x" << std::hex << std::uppercase << command.code << std::dec << " "
              << command.usage_label << "\n";
  }
}

void PrintIfKey(const std::string& key) {
  try {
    const BoardDefinition board("image_" + key + ".bin");
    std::cout << "key " << key << " " << board.GetBoardName() << " " << board.GetApplicationName()
              << "\n";
  } catch (const std::runtime_error&) {
    return;  // no key
  }
}

bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }

}  // namespace

int main() {
  PrintCodes();
  for (char first = ' '; first <= '~'; ++first) {
    for (char second = ' '; second <= '~'; ++second) {
      if (!IsUpper(first) && !IsUpper(second)) {  // stands for lower case
        PrintIfKey({first, second});
      }
    }
  }
  for (std::uint32_t rate = 0; rate < kFasterThanAnyLine; ++rate) {
    if (Baudrate::IsSupported(rate)) {
      std::cout << "rate " << rate << "\n";
    }
  }
  return 0;
}
