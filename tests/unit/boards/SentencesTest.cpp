#include "boards/display/Sentences.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/FakeTime.h"
#include "unit/boards/ShownBoards.h"

namespace kvo::boards {
namespace {

TEST(SentencesTest, AResultTellsWhatBecameOfTheBoard) {
  EXPECT_EQ(Result(FlashedBoard()), "flashed in 3.4 s");
  EXPECT_EQ(Result(FailedBoard(Reason::kLost, "the port\x1b is gone", true)),
            "failed: the port\\x1b is gone");
  EXPECT_EQ(Result(AskedBoard(Outcome::kReady)), "ready");
  EXPECT_EQ(Result(AskedBoard(Outcome::kSilent)), "silent");
  EXPECT_EQ(Result(AnsweringBootloader()),
            "bootloader, serial SN000042, hardware HW-R3, product KVO-TMS, version V2.10, v1.04, "
            "application information APP-INFO 2.10");
  EXPECT_EQ(Result(AnsweringApplication()),
            "application, serial SN000042, boot status BOOT_NORMAL");
}

TEST(SentencesTest, AVersionWithoutItsUpperPartIsCalledAVersion) {
  BoardStatus board = AskedBoard(Outcome::kAnswered);
  board.answers = {"bootloader", "", "", "", "", "v1.04", "", ""};
  EXPECT_EQ(Result(board), "bootloader, version v1.04");
}

TEST(SentencesTest, ASummaryCountsWhatThereIs) {
  EXPECT_EQ(Summary({4, 3, 1, 3.5}, Task::kFlash), "4 boards: 3 flashed, 1 failed");
  EXPECT_EQ(Summary({4, 4, 0, 3.5}, Task::kFlash), "4 boards: 4 flashed");
  EXPECT_EQ(Summary({4, 0, 4, 3.5}, Task::kFlash), "4 boards: 4 failed");
  EXPECT_EQ(Summary({1, 1, 0, 3.5}, Task::kFlash), "1 board: 1 flashed");
  EXPECT_EQ(Summary({2, 1, 1, 3.5}, Task::kDryRun), "2 boards: 1 ready, 1 failed");
  EXPECT_EQ(Summary({0, 0, 0, 3.5}, Task::kFlash), "0 boards: 0 flashed");
}

TEST(SentencesTest, AWatchCountsBothKinds) {
  EXPECT_EQ(RunningTotals({12, 12, 0, 3.5}, Task::kFlash), "12 flashed, 0 failed");
  EXPECT_EQ(RunningTotals({13, 12, 1, 3.5}, Task::kDryRun), "12 ready, 1 failed");
}

TEST(SentencesTest, PatternsAreNamedWithoutTheirControlCharacters) {
  EXPECT_EQ(WaitingFor({"/dev/\x1b*"}), "Waiting for boards at /dev/\\x1b*");
}

TEST(SentencesTest, ANumberHasOneDigitAfterThePoint) {
  EXPECT_EQ(Decimal(3.4499), "3.4");
  EXPECT_EQ(Decimal(1234567.96), "1234568.0");
  EXPECT_EQ(Decimal(0.0 / 0.0), "?");
}

TEST(SentencesTest, ATimeKeepsTheZerosOfItsFraction) {
  bootloadertms::testing::FakeTime time([](auto asked) { return asked; });
  time.AdvanceWallClock(std::chrono::microseconds(7089));
  EXPECT_EQ(UtcTime(3), "2001-09-09T01:46:40.007Z");
  EXPECT_EQ(UtcTime(6), "2001-09-09T01:46:40.007089Z");
}

TEST(BoardStatusTest, TotalsCountABoardThatHasNotEndedAsFailed) {
  const std::vector<BoardStatus> boards = {FlashedBoard(),
                                           SendingBoard(),
                                           AskedBoard(Outcome::kReady),
                                           AskedBoard(Outcome::kSilent),
                                           AnsweringBootloader(),
                                           FailedBoard(Reason::kLost, "gone", true)};
  const Totals totals = TotalsOf(boards);
  EXPECT_EQ(totals.boards, 6U);
  EXPECT_EQ(totals.good, 3U);
  EXPECT_EQ(totals.failed, 3U);
}

}  // namespace
}  // namespace kvo::boards
