// The limit of 120 s for a calibration, on the real program in fast time.
#include <gtest/gtest.h>

#include <string>

#include "program/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

class CalibrationLimitTest : public UtilityOnALine {
 protected:
  void BeginCalibration(const std::string& shown_before) {
    BoardPlays({{"K", "KVO_CMD_CALIBRATE\r\n"}});
    UtilityShows(shown_before + "\nKVO_CMD_CALIBRATE\r\n\0\n"s);
  }
};

// The clock runs 40 times as fast as this test's.
constexpr std::chrono::milliseconds kLimitInFastTime = 120'000ms / 40;

TEST_F(CalibrationLimitTest, ProgressWithoutAnEndIsAFailureAfter120Seconds) {
  StartInFastTime({"--command", "0x4B", "--verbose"});
  BeginCalibration(kEntering + "\nSend APP_CALIB ...");
  BoardRepeatsUntilTheUtilityEnds("10 %\r\n--");
  ExpectFailure(kEntering + "\nSend APP_CALIB ...\nKVO_CMD_CALIBRATE\r\n\0\n [KO]"s,
                "Calibration failed. Exiting");
  EXPECT_GE(RunTime(), kLimitInFastTime);
}

TEST_F(CalibrationLimitTest, SilenceIsAFailureAfter120Seconds) {
  StartInFastTime({"--command", "0x4B"});
  BeginCalibration("");
  ExpectFailure("\nKVO_CMD_CALIBRATE\r\n\0\n"s, "Calibration failed. Exiting");
  EXPECT_GE(RunTime(), kLimitInFastTime);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
