#pragma once

#include <termios.h>

#include <cstdint>

namespace kvo::bootloadertms {

// The terminal driver's constant for a rate in bits per second. Throws `std::runtime_error`
// "baudRate passed to void kvo::bootloadertms::SerialPortLinux::ConfigureTermios() unrecognized."
// for a rate that `Baudrate` doesn't support.
speed_t TerminalSpeed(std::uint32_t rate);

// Makes `settings` those of a raw 8N1 line without flow control at `speed`, whose reads wait at
// most `timeout_ms` (-1 to 25500; -1: until a byte arrives). Flags that are no part of this stay as
// they are.
void MakeRawLine(termios& settings, speed_t speed, std::int32_t timeout_ms);

}  // namespace kvo::bootloadertms
