// What a pseudo-terminal doesn't show of a line's settings; SerialPortLinuxTest proves the others.
#include "serial/LineSettings.h"

#include <gtest/gtest.h>

namespace kvo::bootloadertms {
namespace {

termios MadeRaw(termios settings) {
  MakeRawLine(settings, B1000000, 0);
  return settings;
}

// Without the bits that hold an input speed of its own, which newer C libraries fill in.
tcflag_t ControlModes(const termios& settings) { return settings.c_cflag & ~0x100F0000U; }

TEST(LineSettingsTest, ControlModesThatAreNoPartOfARawLineStayAsFound) {
  termios all{};
  all.c_cflag = 0xFFFFFFFF;
  // PARENB, CSTOPB, CRTSCTS cleared; CS8, B1000000.
  EXPECT_EQ(ControlModes(MadeRaw(all)), 0x6FF0FEB8U);
  // CS8, CREAD, CLOCAL, B1000000.
  EXPECT_EQ(ControlModes(MadeRaw(termios{})), 0x18B8U);
}

TEST(LineSettingsTest, BothDirectionsHaveTheSpeed) {
  const termios settings = MadeRaw(termios{});
  EXPECT_EQ(settings.c_ispeed, 0x1008U);
  EXPECT_EQ(settings.c_ospeed, 0x1008U);
}

TEST(LineSettingsTest, AnInputSpeedOfZeroIsReplaced) {
  termios settings{};
  settings.c_iflag = 0x80000000U;  // the C library's own mark of such a speed
  EXPECT_EQ(MadeRaw(settings).c_iflag, 0U);
}

}  // namespace
}  // namespace kvo::bootloadertms
