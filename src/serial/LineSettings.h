#pragma once

#include <termios.h>

#include <cstdint>

namespace kvo::bootloadertms {

// Makes `settings` those of a raw 8N1 line without flow control at `speed`, whose reads wait at
// most `timeout_ms` (-1 to 25500; -1: until a byte arrives). Flags that are no part of this stay as
// they are.
void MakeRawLine(termios& settings, speed_t speed, std::int32_t timeout_ms);

}  // namespace kvo::bootloadertms
