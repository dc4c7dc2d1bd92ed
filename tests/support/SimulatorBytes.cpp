#include "support/SimulatorBytes.h"

namespace kvo::boardsimulator {
namespace {

std::uint32_t BitwiseCrc(const Bytes& data) {
  std::uint32_t crc = 0;
  for (const std::uint8_t byte : data) {
    for (int bit = 7; bit >= 0; --bit) {
      const bool carry = ((crc >> 15U) & 1U) != ((static_cast<unsigned int>(byte) >> bit) & 1U);
      crc = (crc << 1U) & 0xFFFFU;
      crc ^= carry ? 0x1021U : 0U;
    }
  }
  return crc;
}

}  // namespace

Bytes FromText(std::string_view text) { return {text.begin(), text.end()}; }

std::string ToText(std::span<const std::uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

Bytes FromHex(const std::string& digits) {
  Bytes bytes;
  for (std::size_t at = 0; at < digits.size(); at += 3) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(at, 2), nullptr, 16)));
  }
  return bytes;
}

std::string ToHex(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += text.empty() ? "" : " ";
    text += kDigits[byte / 16U];
    text += kDigits[byte % 16U];
  }
  return text;
}

Bytes Padded(Bytes bytes, std::size_t size, std::uint8_t filler) {
  bytes.resize(size, filler);
  return bytes;
}

Bytes Pattern(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t at = 0; at < size; ++at) {
    bytes[at] = static_cast<std::uint8_t>((at * 7 + at / 128 * 13 + at / 1024 * 101) & 0xFFU);
  }
  return bytes;
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes Packet(std::uint8_t number, const Bytes& data) {
  const std::uint32_t crc = BitwiseCrc(data);
  const std::uint8_t first = data.size() == 128 ? 0x01 : 0x02;
  const Bytes head{first, number, static_cast<std::uint8_t>(255 - number)};
  const Bytes tail{static_cast<std::uint8_t>(crc / 256U), static_cast<std::uint8_t>(crc % 256U)};
  return head + data + tail;
}

Bytes PacketZeroData(std::string_view length) {
  const Bytes data = Padded(FromText(length), 17, 0) + Padded(FromText("TRK4_R1"), 32, 0) +
                     Padded(FromText("TRK4-R1-APPLICATION"), 32, 0) +
                     Padded(FromText("VER 1.0"), 32, 0);
  return Padded(data, 128, 0);
}

Bytes ClosingPacket() { return FromHex("01 00 ff") + Bytes(128) + FromHex("00 00"); }

}  // namespace kvo::boardsimulator
