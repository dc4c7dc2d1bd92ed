#pragma once

#include <cstdint>

namespace kvo::bootloadertms {

// The XMODEM form of CRC-16: polynomial 0x1021, nothing reflected, no final XOR.
inline constexpr std::uint16_t kCrc16Initial = 0x0000;

// The CRC of the bytes that gave `crc`, followed by `byte`. Worked out byte by byte, so that a
// sender can do it while the bytes go out.
constexpr std::uint16_t UpdateCrc16(std::uint16_t crc, std::uint8_t byte) {
  constexpr std::uint32_t kPolynomial = 0x1021;
  std::uint32_t shifted = crc ^ (std::uint32_t{byte} << 8);
  for (int bit = 0; bit < 8; ++bit) {
    const bool carry = (shifted & 0x8000) != 0;
    shifted = (shifted << 1) ^ (carry ? kPolynomial : 0);
  }
  return static_cast<std::uint16_t>(shifted);
}

}  // namespace kvo::bootloadertms
