#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/BoardState.h"

namespace kvo::boardsimulator {

// A request of the host, one byte, and which program it is for.
struct Request {
  std::optional<BoardState> asked;  // nothing: whichever runs
  std::uint8_t code = 0;

  bool Matches(BoardState runs, std::uint8_t arrived) const {
    return code == arrived && asked.value_or(runs) == runs;
  }
};

// Reads [application:|bootloader:]CODE, CODE being one printable character or 0xHH. Throws
// std::invalid_argument, which says what is wrong.
Request ParseRequest(std::string_view text);

// A code for a person to read: 'z', or 0x18 if it cannot be printed.
std::string NameOfCode(std::uint8_t code);

}  // namespace kvo::boardsimulator
