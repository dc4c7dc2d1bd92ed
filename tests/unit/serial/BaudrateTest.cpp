#include "serial/Baudrate.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

namespace kvo::bootloadertms {
namespace {

class SupportedRate : public ::testing::TestWithParam<std::uint32_t> {};
class RefusedRate : public ::testing::TestWithParam<std::uint32_t> {};

TEST(BaudrateTest, StartsNotSet) { EXPECT_EQ(Baudrate().GetValue(), 0U); }

TEST_P(SupportedRate, IsItsOwnTableValueAndIsStored) {
  EXPECT_TRUE(Baudrate::IsSupported(GetParam()));
  EXPECT_EQ(Baudrate::Lookup(GetParam()), GetParam());
  Baudrate rate;
  rate.SetValue(GetParam());
  EXPECT_EQ(rate.GetValue(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(BaudrateTest, SupportedRate,
                         ::testing::Values(9600, 19200, 38400, 57600, 115200, 1000000));

TEST_P(RefusedRate, HasNoTableValueAndLeavesTheStoredOne) {
  EXPECT_FALSE(Baudrate::IsSupported(GetParam()));
  EXPECT_EQ(Baudrate::Lookup(GetParam()), 0U);
  Baudrate rate;
  rate.SetValue(115200);
  rate.SetValue(GetParam());
  EXPECT_EQ(rate.GetValue(), 115200U);
}

INSTANTIATE_TEST_SUITE_P(BaudrateTest, RefusedRate,
                         ::testing::Values(0, 1, 300, 4800, 9599, 9601, 230400, 460800, 921600,
                                           999999, 1000001, 2000000, 4000000,
                                           std::numeric_limits<std::uint32_t>::max()));

TEST(BaudrateTest, EachRateHasItsConstant) {
  EXPECT_EQ(Baudrate::TerminalSpeed(9600), 0x0DU);
  EXPECT_EQ(Baudrate::TerminalSpeed(19200), 0x0EU);
  EXPECT_EQ(Baudrate::TerminalSpeed(38400), 0x0FU);
  EXPECT_EQ(Baudrate::TerminalSpeed(57600), 0x1001U);
  EXPECT_EQ(Baudrate::TerminalSpeed(115200), 0x1002U);
  EXPECT_EQ(Baudrate::TerminalSpeed(1000000), 0x1008U);
}

TEST(BaudrateTest, AnyOtherRateIsAnError) {
  try {
    Baudrate::TerminalSpeed(4800);
    FAIL() << "no error";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(),
                 "baudRate passed to void kvo::bootloadertms::SerialPortLinux::ConfigureTermios() "
                 "unrecognized.");
  }
}

}  // namespace
}  // namespace kvo::bootloadertms
