#pragma once

#include <termios.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace kvo::bootloadertms {

// A line speed that is accepted.
struct Speed {
  std::uint32_t rate;  // in bits per second
  speed_t constant;    // the terminal driver's
};

inline constexpr auto kSpeeds = std::to_array<Speed>({
    {1000000, B1000000},
    {115200, B115200},
    {19200, B19200},
    {38400, B38400},
    {57600, B57600},
    {9600, B9600},
});

// Null for a rate that is not accepted.
inline const Speed* FindSpeed(std::uint32_t rate) {
  const auto* speed = std::ranges::find(kSpeeds, rate, &Speed::rate);
  return speed == kSpeeds.end() ? nullptr : speed;
}

}  // namespace kvo::bootloadertms
