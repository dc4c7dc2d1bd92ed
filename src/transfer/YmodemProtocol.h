#pragma once

#include <cstddef>
#include <cstdint>

// The bytes and sizes of the image transfer; docs/protocol.md describes it.
namespace kvo::bootloadertms::ymodem {

inline constexpr std::uint8_t kSoh = 0x01;  // heads a 128-byte packet
inline constexpr std::uint8_t kStx = 0x02;  // heads a 1024-byte packet
inline constexpr std::uint8_t kEot = 0x04;
inline constexpr std::uint8_t kAck = 0x06;
inline constexpr std::uint8_t kNak = 0x15;            // CAN is `target::kCancel`
inline constexpr std::uint8_t kCrcRequest = 0x43;     // 'C'
inline constexpr std::uint8_t kReceiveFailed = 0x46;  // 'F', only before the first 'C'

inline constexpr std::size_t kPacketZeroSize = 128;
inline constexpr std::size_t kBlockSize = 1024;

}  // namespace kvo::bootloadertms::ymodem
