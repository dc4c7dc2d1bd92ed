#include "simulator/Crc16.h"

#include <gtest/gtest.h>

#include "unit/simulator/Bytes.h"

namespace kvo::boardsimulator {
namespace {

TEST(Crc16Test, KnownValues) {
  EXPECT_EQ(Crc16(FromText("123456789")), 0x31C3);
  EXPECT_EQ(Crc16(FromText("A")), 0x58E5);
  EXPECT_EQ(Crc16(FromHex("01")), 0x1021);
  EXPECT_EQ(Crc16(FromHex("80")), 0x9188);
}

TEST(Crc16Test, NothingAndZerosGiveZero) {
  EXPECT_EQ(Crc16({}), 0);
  EXPECT_EQ(Crc16(Bytes(128)), 0);
}

}  // namespace
}  // namespace kvo::boardsimulator
