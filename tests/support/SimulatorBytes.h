#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Bytes as tests of the simulated board write and compare them.
namespace kvo::boardsimulator {

using Bytes = std::vector<std::uint8_t>;

// The bytes of a text, the bytes of hexadecimal digits ("06 43"), and back.
Bytes FromText(std::string_view text);
std::string ToText(std::span<const std::uint8_t> bytes);
Bytes FromHex(const std::string& digits);
std::string ToHex(std::span<const std::uint8_t> bytes);

// `bytes` filled up with `filler` to `size`.
Bytes Padded(Bytes bytes, std::size_t size, std::uint8_t filler);

// Bytes that differ from block to block, so that a swapped or repeated block shows.
Bytes Pattern(std::size_t size);

Bytes operator+(Bytes left, const Bytes& right);

// A YModem packet with a right checksum, computed bit by bit; SOH for 128 data bytes, else STX.
Bytes Packet(std::uint8_t number, const Bytes& data);

// The data field of a packet 0 for the board of the key tv.
Bytes PacketZeroData(std::string_view length);

// The all-zero packet that closes a transfer.
Bytes ClosingPacket();

}  // namespace kvo::boardsimulator
