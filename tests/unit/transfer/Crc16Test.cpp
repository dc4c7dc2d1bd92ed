#include "transfer/Crc16.h"

#include <gtest/gtest.h>

#include <string>

namespace kvo::bootloadertms {
namespace {

std::uint16_t CrcOf(const std::string& bytes) {
  std::uint16_t crc = kCrc16Initial;
  for (const char byte : bytes) {
    crc = UpdateCrc16(crc, static_cast<std::uint8_t>(byte));
  }
  return crc;
}

TEST(Crc16Test, KnownValuesOfTheXmodemForm) {
  EXPECT_EQ(CrcOf("123456789"), 0x31C3);
  EXPECT_EQ(CrcOf("A"), 0x58E5);
  EXPECT_EQ(CrcOf(std::string(1, '\x80')), 0x9188);
  EXPECT_EQ(CrcOf("\xFF\xFF"), 0x1D0F);
}

TEST(Crc16Test, NothingAndZerosGiveZero) {
  EXPECT_EQ(CrcOf(""), 0x0000);
  EXPECT_EQ(CrcOf(std::string(128, '\0')), 0x0000);
}

}  // namespace
}  // namespace kvo::bootloadertms
