#include "boards/display/Bars.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/FakeTime.h"
#include "support/TextPipe.h"
#include "unit/boards/ShownBoards.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::FakeTime;
using bootloadertms::testing::TextPipe;

constexpr useconds_t kFrame = 100'000;

class BarsTest : public ::testing::Test {
 protected:
  // Of as many boards, each switching to its bootloader.
  void MakeBoards(std::size_t count) {
    for (std::size_t board = 0; board < count; ++board) {
      boards_.push_back(SendingBoard());
      boards_.back().port = "/dev/ttyUSB" + std::to_string(board);
      boards_.back().step = Step::kSwitching;
    }
  }

  // What is drawn a frame's time later.
  std::string NextFrame(Bars& bars) {
    ::usleep(kFrame);
    bars.Refresh();
    return pipe_.Take();
  }

  Bars MakeBars(Bars::Options options = {}) {
    return {pipe_.Writer(), boards_, options, [this] { return size_; }};
  }

  FakeTime time_{[](auto asked) { return asked; }};
  TextPipe pipe_;
  std::vector<BoardStatus> boards_;
  ScreenSize size_ = {60, 24};
};

TEST_F(BarsTest, AFrameIsDrawnOverTheLastOne) {
  MakeBoards(2);
  Bars bars = MakeBars();
  EXPECT_EQ(NextFrame(bars),
            "\r/dev/ttyUSB0  switching to the bootloader\x1b[K\r\n"
            "/dev/ttyUSB1  switching to the bootloader\x1b[K\r\n\x1b[J");
  boards_[1].step = Step::kStarting;
  EXPECT_EQ(NextFrame(bars),
            "\r\x1b[2A/dev/ttyUSB0  switching to the bootloader\x1b[K\r\n"
            "/dev/ttyUSB1  starting the application\x1b[K\r\n\x1b[J");
}

TEST_F(BarsTest, NothingIsDrawnWhenNothingHasChangedOrTooSoon) {
  MakeBoards(1);
  Bars bars = MakeBars();
  NextFrame(bars);
  EXPECT_EQ(NextFrame(bars), "");
  boards_[0].step = Step::kStarting;
  NextFrame(bars);
  boards_[0].step = Step::kAsking;
  bars.Refresh();
  EXPECT_EQ(pipe_.Take(), "");
}

TEST_F(BarsTest, LinesThatTheTerminalHasWrappedAreErasedToTheirBegin) {
  MakeBoards(2);
  Bars bars = MakeBars();
  NextFrame(bars);
  size_ = {40, 24};
  EXPECT_EQ(NextFrame(bars),
            "\r\x1b[4A\x1b[K\x1b[B\x1b[J\x1b[A...ttyUSB0  switching to the bootloader\x1b[K\r\n"
            "...ttyUSB1  switching to the bootloader\x1b[K\r\n\x1b[J");
}

TEST_F(BarsTest, BoardsThatDoNotFitAreCountedUntilOthersHaveEnded) {
  MakeBoards(4);
  size_ = {60, 4};
  Bars bars = MakeBars();
  EXPECT_EQ(NextFrame(bars),
            "\r/dev/ttyUSB0  switching to the bootloader\x1b[K\r\n"
            "/dev/ttyUSB1  switching to the bootloader\x1b[K\r\n"
            "... and 2 more\x1b[K\r\n\x1b[J");
  boards_[1].end = FlashedBoard().end;
  EXPECT_EQ(NextFrame(bars),
            "\r\x1b[3A/dev/ttyUSB1  flashed in 3.4 s\x1b[K\r\n"
            "/dev/ttyUSB0  switching to the bootloader\x1b[K\r\n"
            "/dev/ttyUSB2  switching to the bootloader\x1b[K\r\n"
            "/dev/ttyUSB3  switching to the bootloader\x1b[K\r\n\x1b[J");
}

TEST_F(BarsTest, AllStaysInOrderAtTheEnd) {
  MakeBoards(2);
  Bars bars = MakeBars({.with_color = true});
  boards_[1].end = FlashedBoard().end;
  NextFrame(bars);
  boards_[0].end =
      FailedBoard(Reason::kBroken,
                  "block 17 of 256: the board has no valid application, flash it again", true)
          .end;
  bars.Finish({2, 1, 1, 3.5});
  EXPECT_EQ(
      pipe_.Take(),
      "\r\x1b[2A/dev/ttyUSB0  \x1b[31mfailed: block 17 of 256: the board has no\x1b[0m\x1b[K\r\n"
      "    \x1b[31mvalid application, flash it again\x1b[0m\x1b[K\r\n"
      "/dev/ttyUSB1  \x1b[32mflashed in 3.4 s\x1b[0m\x1b[K\r\n"
      "2 boards: 1 flashed, 1 failed\x1b[K\r\n\x1b[J");
}

TEST_F(BarsTest, AnswersHaveNoSummaryBelowThem) {
  boards_ = {AnsweringApplication()};
  MakeBars({.task = Task::kInfo}).Finish({1, 1, 0, 3.5});
  EXPECT_EQ(pipe_.Take(),
            "\r/dev/ttyUSB0  application, serial SN000042, boot status\x1b[K\r\n"
            "    BOOT_NORMAL\x1b[K\r\n\x1b[J");
}

TEST_F(BarsTest, ATerminalThatTakesNothingGetsNoFurtherFrames) {
  MakeBoards(1);
  Bars bars = MakeBars();
  while (bars.Awaited() == -1) {
    boards_[0].attempt++;
    ::usleep(kFrame);
    bars.Refresh();
  }
  boards_[0].step = Step::kStarting;
  ::usleep(kFrame);
  bars.Refresh();
  EXPECT_THAT(pipe_.Take(), ::testing::Not(::testing::HasSubstr("starting")));
  EXPECT_THAT(NextFrame(bars), ::testing::HasSubstr("starting"));
}

}  // namespace
}  // namespace kvo::boards
