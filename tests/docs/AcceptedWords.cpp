// Prints what the program accepts as a key in the name of an image, with the board and the
// application that it stands for, and as a speed: whatever it is, not what some list says.

#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <string>

#include "serial/Baudrate.h"
#include "transfer/BoardDefinition.h"

namespace {

using kvo::bootloadertms::Baudrate;
using kvo::bootloadertms::BoardDefinition;

constexpr char kFirstPrintable = ' ';
constexpr char kLastPrintable = '~';
constexpr std::uint32_t kFasterThanAnyLine = 10'000'000;

bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }

void PrintIfKey(const std::string& key) {
  try {
    const BoardDefinition board("image_" + key + ".bin");
    std::cout << "key " << key << " " << board.GetBoardName() << " " << board.GetApplicationName()
              << "\n";
  } catch (const std::runtime_error&) {
    return;  // no key
  }
}

// Upper case stands for lower case.
void PrintKeys() {
  for (char first = kFirstPrintable; first <= kLastPrintable; ++first) {
    for (char second = kFirstPrintable; second <= kLastPrintable; ++second) {
      if (!IsUpper(first) && !IsUpper(second)) {
        PrintIfKey({first, second});
      }
    }
  }
}

void PrintRates() {
  for (std::uint32_t rate = 0; rate < kFasterThanAnyLine; ++rate) {
    if (Baudrate::IsSupported(rate)) {
      std::cout << "rate " << rate << "\n";
    }
  }
}

}  // namespace

int main() {
  PrintKeys();
  PrintRates();
  return 0;
}
