#include "simulator/Crc16.h"

#include <array>
#include <cstddef>

namespace kvo::boardsimulator {
namespace {

using Table = std::array<std::uint16_t, 256>;

constexpr std::uint32_t kPolynomial = 0x1021;

constexpr Table MakeTable() {
  Table table{};
  for (std::size_t index = 0; index < table.size(); ++index) {
    auto remainder = static_cast<std::uint32_t>(index << 8U);
    for (int bit = 0; bit < 8; ++bit) {
      remainder = (remainder << 1U) ^ ((remainder & 0x8000U) != 0 ? kPolynomial : 0U);
    }
    table[index] = static_cast<std::uint16_t>(remainder & 0xFFFFU);
  }
  return table;
}

constexpr Table kTable = MakeTable();

}  // namespace

std::uint16_t Crc16(std::span<const std::uint8_t> bytes) {
  std::uint16_t crc = 0;
  for (const std::uint8_t byte : bytes) {
    const std::size_t index = ((crc >> 8U) ^ byte) & 0xFFU;
    crc = static_cast<std::uint16_t>((static_cast<std::uint32_t>(crc) << 8U) ^ kTable[index]);
  }
  return crc;
}

}  // namespace kvo::boardsimulator
