#include "serial/LineSettings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

namespace kvo::bootloadertms {
namespace {

termios AllFlagsSet() {
  termios settings{};
  settings.c_iflag = 0x7FFFFFFF;  // its last bit is the C library's own
  settings.c_oflag = 0xFFFFFFFF;
  settings.c_cflag = 0xFFFFFFFF;
  settings.c_lflag = 0xFFFFFFFF;
  std::fill(std::begin(settings.c_cc), std::end(settings.c_cc), cc_t{77});
  settings.c_line = 77;
  return settings;
}

// Without the bits that hold an input speed of its own, which newer C libraries fill in.
tcflag_t ControlModes(const termios& settings) { return settings.c_cflag & ~0x100F0000U; }

termios MadeRaw(termios settings, std::int32_t timeout_ms = 0) {
  MakeRawLine(settings, B115200, timeout_ms);
  return settings;
}

using Timing = std::pair<unsigned, unsigned>;  // VMIN, VTIME

Timing TimingOf(std::int32_t timeout_ms) {
  const termios settings = MadeRaw(AllFlagsSet(), timeout_ms);
  return {settings.c_cc[VMIN], settings.c_cc[VTIME]};
}

TEST(LineSettingsTest, FlagsThatAreNoPartOfARawLineStayAsFound) {
  const termios settings = MadeRaw(AllFlagsSet());
  EXPECT_EQ(ControlModes(settings), 0x6FF0FEB2U);  // PARENB, CSTOPB, CRTSCTS cleared, CS8, B115200
  EXPECT_EQ(settings.c_lflag, 0xFFFF7FB4U);
  EXPECT_EQ(settings.c_iflag, 0x7FFFFA14U);
  EXPECT_EQ(settings.c_oflag, 0xFFFFFFFEU);
}

TEST(LineSettingsTest, ControlCharactersOtherThanTheReadTimingStayAsFound) {
  const termios settings = MadeRaw(AllFlagsSet());
  for (std::size_t index = 0; index < NCCS; ++index) {
    const bool read_timing = index == VMIN || index == VTIME;
    EXPECT_EQ(settings.c_cc[index], read_timing ? 0 : 77) << index;
  }
  EXPECT_EQ(settings.c_line, 77);
}

TEST(LineSettingsTest, OnlyTheFlagsOfARawLineAreSet) {
  const termios settings = MadeRaw(termios{});
  EXPECT_EQ(ControlModes(settings), 0x18B2U);  // CS8, CREAD, CLOCAL, B115200
  EXPECT_EQ(settings.c_lflag, 0U);
  EXPECT_EQ(settings.c_iflag, 0U);
  EXPECT_EQ(settings.c_oflag, 0U);
}

TEST(LineSettingsTest, BothDirectionsHaveTheSpeed) {
  termios settings{};
  MakeRawLine(settings, B1000000, 0);
  EXPECT_EQ(::cfgetispeed(&settings), static_cast<speed_t>(B1000000));
  EXPECT_EQ(::cfgetospeed(&settings), static_cast<speed_t>(B1000000));
  EXPECT_EQ(settings.c_ispeed, 0x1008U);
  EXPECT_EQ(settings.c_ospeed, 0x1008U);
}

TEST(LineSettingsTest, AnInputSpeedOfZeroIsReplaced) {
  termios settings{};
  settings.c_iflag = 0x80000000U;  // the C library's own mark of such a speed
  MakeRawLine(settings, B1000000, 0);
  EXPECT_EQ(settings.c_iflag, 0U);
}

TEST(LineSettingsTest, TimeoutsBecomeReadTimings) {
  EXPECT_EQ(TimingOf(-1), Timing(1, 0));
  EXPECT_EQ(TimingOf(0), Timing(0, 0));
  EXPECT_EQ(TimingOf(1), Timing(0, 0));
  EXPECT_EQ(TimingOf(99), Timing(0, 0));
  EXPECT_EQ(TimingOf(100), Timing(0, 1));
  EXPECT_EQ(TimingOf(199), Timing(0, 1));
  EXPECT_EQ(TimingOf(200), Timing(0, 2));
  EXPECT_EQ(TimingOf(25499), Timing(0, 254));
  EXPECT_EQ(TimingOf(25500), Timing(0, 255));
}

}  // namespace
}  // namespace kvo::bootloadertms
