#include "boards/display/Bell.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "support/FakeTime.h"
#include "support/TextPipe.h"
#include "unit/boards/ShownBoards.h"

namespace kvo::boards {
namespace {

using namespace std::chrono_literals;
using bootloadertms::testing::FakeTime;
using bootloadertms::testing::TextPipe;

class BellTest : public ::testing::Test {
 protected:
  void EndGood() { bell_.Show(FlashedBoard(), Change::kEnd); }
  void EndFailed() { bell_.Show(FailedBoard(Reason::kLost, "gone", true), Change::kEnd); }

  // What is rung in as many tenths of a second: '.' for nothing.
  std::string Hear(int tenths) {
    std::string heard;
    for (int tenth = 0; tenth < tenths; ++tenth) {
      bell_.Refresh();
      const std::string rung = pipe_.Take();
      heard += rung.empty() ? "." : rung;
      ::usleep(100'000);
    }
    return heard;
  }

  std::vector<std::chrono::nanoseconds> sleeps_;
  FakeTime time_{[this](auto asked) {
    sleeps_.push_back(asked);
    return asked;
  }};
  TextPipe pipe_;
  Bell bell_{pipe_.Writer()};
};

TEST_F(BellTest, AGoodBoardIsRungOnceAndAFailedOneThreeTimes) {
  EndGood();
  EXPECT_EQ(Hear(20), "\a...................");
  EndFailed();
  EXPECT_EQ(Hear(20), "\a..\a..\a.............");
}

TEST_F(BellTest, BoardsThatEndTogetherAreHeardOneAfterTheOther) {
  EndGood();
  EndFailed();
  EndGood();
  EXPECT_EQ(Hear(30), "\a........\a..\a..\a........\a.....");
}

TEST_F(BellTest, NothingButAnEndIsRung) {
  for (const Change change :
       {Change::kCame, Change::kAttempt, Change::kStep, Change::kProgress, Change::kGone}) {
    bell_.Show(FlashedBoard(), change);
  }
  EXPECT_EQ(Hear(5), ".....");
}

TEST_F(BellTest, WhatIsLeftAtTheEndIsRungWithItsPauses) {
  EndFailed();
  EndFailed();
  EXPECT_EQ(Hear(1), "\a");
  sleeps_.clear();
  bell_.Finish({2, 0, 2, 3.5});
  EXPECT_EQ(pipe_.Take(), "\a\a\a\a\a");
  EXPECT_EQ(sleeps_, (std::vector<std::chrono::nanoseconds>{200ms, 300ms, 900ms, 300ms, 300ms}));
}

TEST_F(BellTest, TheEndIsPutOffByFourSecondsAtMost) {
  const std::chrono::nanoseconds start = time_.Now(CLOCK_MONOTONIC);
  for (int board = 0; board < 20; ++board) {
    EndFailed();
  }
  bell_.Finish({20, 0, 20, 3.5});
  EXPECT_EQ(pipe_.Take(), std::string(60, '\a'));
  EXPECT_EQ(time_.Now(CLOCK_MONOTONIC) - start, 4s);
}

}  // namespace
}  // namespace kvo::boards
