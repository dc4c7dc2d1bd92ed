#include "support/ClientFixture.h"

namespace kvo::bootloadertms {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::Script;

class CalibrationTest : public testing::ClientFixture {
 protected:
  void FirstAnswer(const std::string& answer) {
    script_.FlushInput().Write({0x4B}).Sleep(500ms).AnswerRead(answer);
  }
  void FirstAnswerIsShown(const std::string& answer) {
    FirstAnswer(answer);
    script_.Print("\n").FlushOutput().Print(answer + "\n").FlushOutput();
  }
  void Report(const std::string& report) { script_.Sleep(100ms).AnswerRead(report); }
};

TEST_F(CalibrationTest, EndsWithTheLineOfDashes) {
  FirstAnswerIsShown("KVO_CMD_CALIBRATE\r\n\0"s);
  Report("10 %\r\n\0"s);
  Report("");
  Report("done\r\n---\r\n\0"s);
  EXPECT_EQ(client_.Calibrate(), 1);
}

TEST_F(CalibrationTest, ReportsShowOnlyInVerboseMode) {
  MakeVerbose();
  FirstAnswerIsShown("..KVO_CMD_CALIBRATE..");
  Report("10 %\n");
  script_.Print("10 %\n").FlushOutput();
  Report("");
  script_.FlushOutput();
  Report("---");
  script_.Print("---").FlushOutput();
  EXPECT_EQ(client_.Calibrate(), 1);
}

TEST_F(CalibrationTest, AnApplicationThatDoesNotStartGivesZeroAtOnce) {
  FirstAnswer("KVO_CMD");
  EXPECT_EQ(client_.Calibrate(), 0);
  FirstAnswer("");
  EXPECT_EQ(client_.Calibrate(), 0);
}

TEST_F(CalibrationTest, VerboseTellsOfAnApplicationThatDoesNotStart) {
  MakeVerbose();
  FirstAnswer("");
  script_.Print("No serial response\n").FlushOutput();
  EXPECT_EQ(client_.Calibrate(), 0);
}

TEST_F(CalibrationTest, TheEndInTheFirstAnswerIsNotSeen) {
  FirstAnswerIsShown("KVO_CMD_CALIBRATE ---");
  Report("---");
  EXPECT_EQ(client_.Calibrate(), 1);
}

TEST_F(CalibrationTest, TheEndSplitOverTwoReadsIsNotSeen) {
  FirstAnswerIsShown("KVO_CMD_CALIBRATE");
  Report("--");
  Report("-");
  Report("---");
  EXPECT_EQ(client_.Calibrate(), 1);
}

// The start takes 500 ms and each report 100 ms, so the report that begins at 119.9 s is the last.
TEST_F(CalibrationTest, NoEndWithin120SecondsGivesZero) {
  FirstAnswerIsShown("KVO_CMD_CALIBRATE");
  script_.Times(1195, [this](Script&) { Report("still busy"); });
  EXPECT_EQ(client_.Calibrate(), 0);
}

TEST_F(CalibrationTest, AnEndInTheLastReportCounts) {
  FirstAnswerIsShown("KVO_CMD_CALIBRATE");
  script_.Times(1194, [this](Script&) { Report(""); });
  Report("---");
  EXPECT_EQ(client_.Calibrate(), 1);
}

TEST_F(CalibrationTest, VerboseTellsOfTheTimeOutByAnEmptyLine) {
  MakeVerbose();
  FirstAnswerIsShown("KVO_CMD_CALIBRATE");
  script_.Times(1195, [this](Script& steps) {
    Report("");
    steps.FlushOutput();
  });
  script_.Print("\n").FlushOutput();
  EXPECT_EQ(client_.Calibrate(), 0);
}

TEST_F(CalibrationTest, TheClockIsLookedAtBeforeTheFirstReport) {
  MakeVerbose();
  script_.FlushInput().Write({0x4B}).Sleep(500ms).AnswerRead("KVO_CMD_CALIBRATE");
  script_.WallClockAdvances(119'500ms);
  script_.Print("\n").FlushOutput().Print("KVO_CMD_CALIBRATE\n").FlushOutput();
  script_.Print("\n").FlushOutput();
  EXPECT_EQ(client_.Calibrate(), 0);
}

TEST_F(CalibrationTest, ANanosecondLessThan120SecondsIsNotYetTooLong) {
  script_.FlushInput().Write({0x4B}).Sleep(500ms).AnswerRead("KVO_CMD_CALIBRATE");
  script_.WallClockAdvances(119'499'999'999ns);
  script_.Print("\n").FlushOutput().Print("KVO_CMD_CALIBRATE\n").FlushOutput();
  Report("");
  EXPECT_EQ(client_.Calibrate(), 0);
}

TEST_F(CalibrationTest, TheLimitHoldsAfterAReportToo) {
  FirstAnswerIsShown("KVO_CMD_CALIBRATE");
  Report("");
  script_.WallClockAdvances(119'399'999'999ns);
  Report("");
  EXPECT_EQ(client_.Calibrate(), 0);
}

TEST_F(CalibrationTest, TimeCountsFromTheRequestOn) {
  script_.FlushInput().WallClockAdvances(1h);  // before the start
  script_.Write({0x4B}).WallClockAdvances(119'500ms);
  script_.Sleep(500ms).AnswerRead("KVO_CMD_CALIBRATE");
  script_.Print("\n").FlushOutput().Print("KVO_CMD_CALIBRATE\n").FlushOutput();
  EXPECT_EQ(client_.Calibrate(), 0);

  script_.FlushInput().WallClockAdvances(1h);
  script_.Write({0x4B}).Sleep(500ms).AnswerRead("KVO_CMD_CALIBRATE");
  script_.Print("\n").FlushOutput().Print("KVO_CMD_CALIBRATE\n").FlushOutput();
  Report("---");
  EXPECT_EQ(client_.Calibrate(), 1);
}

TEST_F(CalibrationTest, InterruptedSleepsGoOnForTheTimeThatWasLeft) {
  script_.FlushInput().Write({0x4B}).SleepInterrupted(500ms, 200ms).Sleep(300ms);
  script_.AnswerRead("KVO_CMD_CALIBRATE");
  script_.Print("\n").FlushOutput().Print("KVO_CMD_CALIBRATE\n").FlushOutput();
  script_.SleepInterrupted(100ms, 1ms).SleepInterrupted(99ms, 50ms).Sleep(49ms).AnswerRead("---");
  EXPECT_EQ(client_.Calibrate(), 1);
}

TEST_F(CalibrationTest, MarkersMustBeWhole) {
  FirstAnswer("KVO_CMD_CALIBRAT");
  EXPECT_EQ(client_.Calibrate(), 0);
  FirstAnswer("kvo_cmd_calibrate");
  EXPECT_EQ(client_.Calibrate(), 0);
}

TEST_F(CalibrationTest, MarkersMayStandAfterANulByte) {
  FirstAnswerIsShown("\0KVO_CMD_CALIBRATE"s);
  Report("\0---"s);
  EXPECT_EQ(client_.Calibrate(), 1);
}

}  // namespace
}  // namespace kvo::bootloadertms
