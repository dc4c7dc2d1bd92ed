#pragma once

#include <string>

#include "support/Script.h"
#include "tables/UploadTexts.h"

namespace kvo::bootloadertms::testing {

// What goes out for an empty image, here to a "tv" board, and what is shown of it.

inline Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

inline Bytes BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// `crc` is that of the 128 bytes of `data`.
inline Bytes PacketZero(const std::string& data, const Bytes& crc) {
  return Bytes{0x01, 0x00, 0xFF} + BytesOf(data) + crc;
}

inline const Bytes kPacketZeroOfTv = PacketZero(
    "0" + std::string(16, '\0') + "TRK4_R1" + std::string(25, '\0') + "TRK4-R1-APPLICATION" +
        std::string(13, '\0') + "VER 1.0" + std::string(40, '\0'),
    {0xBB, 0xF9});

inline const std::string kPacketZeroOfTvShown = PacketZeroForTv("0................");

inline const Bytes kEmptyPacketZero = PacketZero(std::string(128, '\0'), {0x00, 0x00});
inline const std::string kEmptyPacketZeroShown = "PACKET 0 :\n" + std::string(128, '.');

}  // namespace kvo::bootloadertms::testing
