#include "serial/Baudrate.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "serial/LineSettings.h"
#include "support/RuntimeErrorOf.h"

namespace kvo::bootloadertms {
namespace {

TEST(BaudrateTest, StartsNotSet) { EXPECT_EQ(Baudrate().GetValue(), 0U); }

TEST(BaudrateTest, ASupportedRateIsItsOwnTableValueAndIsStored) {
  for (const std::uint32_t supported : {9600U, 19200U, 38400U, 57600U, 115200U, 1000000U}) {
    EXPECT_TRUE(Baudrate::IsSupported(supported)) << supported;
    EXPECT_EQ(Baudrate::Lookup(supported), supported);
    Baudrate rate;
    rate.SetValue(supported);
    EXPECT_EQ(rate.GetValue(), supported);
  }
}

TEST(BaudrateTest, AnyOtherRateHasNoTableValueAndLeavesTheStoredOne) {
  for (const std::uint32_t refused : {0U, 1U, 300U, 4800U, 9599U, 9601U, 230400U, 460800U, 921600U,
                                      999999U, 1000001U, 2000000U, 4000000U, 4294967295U}) {
    EXPECT_FALSE(Baudrate::IsSupported(refused)) << refused;
    EXPECT_EQ(Baudrate::Lookup(refused), 0U) << refused;
    Baudrate rate;
    rate.SetValue(115200);
    rate.SetValue(refused);
    EXPECT_EQ(rate.GetValue(), 115200U) << refused;
  }
}

TEST(BaudrateTest, AnyOtherRateHasNoConstantOfTheTerminalDriver) {
  EXPECT_EQ(testing::RuntimeErrorOf([] { TerminalSpeed(4800); }),
            "baudRate passed to void kvo::bootloadertms::SerialPortLinux::ConfigureTermios() "
            "unrecognized.");
}

}  // namespace
}  // namespace kvo::bootloadertms
