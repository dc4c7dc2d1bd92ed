// The calibration run on the real program.
#include <gtest/gtest.h>

#include <string>

#include "program/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

class CalibrationTest : public UtilityOnALine {
 protected:
  // Lets the application tell that it calibrates, and waits until the utility has shown that.
  void BeginCalibration(const std::string& shown_before) {
    BoardPlays({{"K", "KVO_CMD_CALIBRATE\r\n"}});
    UtilityShows(shown_before + "\nKVO_CMD_CALIBRATE\r\n\0\n"s);
  }
};

TEST_F(CalibrationTest, ShowsItsBeginningAndNoneOfItsProgress) {
  Start({"--command", "0x4B"});
  BeginCalibration("");
  BoardSends("10 %\r\n");
  BoardSends("100 %\r\n---\r\n");
  ExpectSuccess("\nKVO_CMD_CALIBRATE\r\n\0\n"s);
  EXPECT_GE(RunTime(), 600ms);
}

TEST_F(CalibrationTest, VerboseMarksItsEnd) {
  Start({"--command", "4B", "--verbose"});
  BeginCalibration(kEntering + "\nSend APP_CALIB ...");
  BoardSends("------");
  ExpectSuccess(kEntering + "\nSend APP_CALIB ...\nKVO_CMD_CALIBRATE\r\n\0\n [OK]\n"s + kExiting);
}

TEST_F(CalibrationTest, TheMarkersMayStandAmidOtherText) {
  Start({"--command", "0x4B"});
  BoardPlays({{"K", "log\0KVO_CMD_CALIBRATE ---"s}});
  UtilityShows("\nlog\0KVO_CMD_CALIBRATE ---\0\n"s);
  BoardSends("log\0-----"s);
  ExpectSuccess("\nlog\0KVO_CMD_CALIBRATE ---\0\n"s);
}

TEST_F(CalibrationTest, ASplitEndIsNoEnd) {
  Start({"--command", "0x4B"});
  BeginCalibration("");
  BoardSends("--");
  WaitUntilTheUtilityHasRead();
  BoardSends("-\r\n");
  WaitUntilTheUtilityHasRead();
  BoardSends("---");
  ExpectSuccess("\nKVO_CMD_CALIBRATE\r\n\0\n"s);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
