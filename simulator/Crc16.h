#pragma once

#include <cstdint>
#include <span>

namespace kvo::boardsimulator {

// The checksum of YModem packets: polynomial 0x1021, start value 0, nothing reflected.
std::uint16_t Crc16(std::span<const std::uint8_t> bytes);

}  // namespace kvo::boardsimulator
