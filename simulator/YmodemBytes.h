#pragma once

#include <cstdint>

namespace kvo::boardsimulator {

// The control bytes of YModem.
inline constexpr std::uint8_t kSoh = 0x01;  // starts a packet with 128 data bytes
inline constexpr std::uint8_t kStx = 0x02;  // starts a packet with 1024 data bytes
inline constexpr std::uint8_t kEot = 0x04;
inline constexpr std::uint8_t kAck = 0x06;
inline constexpr std::uint8_t kNak = 0x15;
inline constexpr std::uint8_t kCan = 0x18;
inline constexpr std::uint8_t kAskForCrc = 0x43;  // 'C'

}  // namespace kvo::boardsimulator
