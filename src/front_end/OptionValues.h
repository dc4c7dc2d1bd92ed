#pragma once

#include <cstdint>

#include "front_end/ArgumentList.h"

namespace kvo::bootloadertms {

// The baud rate: the digits that the argument begins with, in base 10, cut to 32 bits; 0 when there
// are none. Whether the rate is supported is the port's business.
std::uint32_t ParseBaudRate(const ArgumentList& arguments);

// The code behind "--command". Always hexadecimal, with or without "0x"; what follows the digits is
// ignored. Throws `std::runtime_error` "No command specified. Exiting" for an empty or missing
// text, "Invalid command : " and the text when it doesn't begin with a number.
std::uint32_t ParseCommandCode(const ArgumentList& arguments);

// The byte behind "--send": the low 8 bits of a number read in the same way. Throws
// `std::runtime_error` "No command specified to send. Exiting", "Invalid command to send : " and
// the text.
std::uint8_t ParseByteToSend(const ArgumentList& arguments);

}  // namespace kvo::bootloadertms
