// Signals to a kvo-boards that watches: the first begins no more boards, the second ends those in
// work.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "program/boards/WatchProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::IsEmpty;
using ::testing::MatchesRegex;

class InterruptedWatch : public WatchProgram {
 protected:
  // A board at the port "held" that waits for an answer to its only block.
  void StartWithABoardInWork(const std::vector<std::string>& options = {}) {
    Plug("held", held_.Path());
    Start(options);
    held_.GetsABlockAfter(0);
  }

  const PlayedBoard held_{};
  const SimulatedBoard other_{kInBootloader};
};

class SignalToAWatch : public InterruptedWatch, public ::testing::WithParamInterface<int> {};

TEST_P(SignalToAWatch, EndsItAtOnceWhenNothingIsInWork) {
  Plug("a", other_.Path());
  Start();
  WaitFor("finished", "a");
  Signal(GetParam());
  EXPECT_EQ(ResultsAtTheEnd(128 + GetParam()), (Results{{"a flashed", 1}}));
}

TEST_P(SignalToAWatch, BeginsNoMoreBoardsAndFinishesTheOneInWork) {
  ASSERT_NO_FATAL_FAILURE(StartWithABoardInWork());
  Signal(GetParam());
  Plug("other", other_.Path());
  ASSERT_NO_FATAL_FAILURE(held_.TakesTheLastBlock());
  EXPECT_EQ(ResultsAtTheEnd(128 + GetParam()), (Results{{"held flashed", 1}}));
  EXPECT_EQ(held_.Rest(), "");
  EXPECT_FALSE(other_.HasFlash());
}

TEST_P(SignalToAWatch, InterruptsTheBoardInWorkWhenItIsTheSecond) {
  ASSERT_NO_FATAL_FAILURE(StartWithABoardInWork());
  Signal(GetParam() == SIGINT ? SIGTERM : SIGINT);  // the same at once might count as one
  Signal(GetParam());
  EXPECT_EQ(ResultsAtTheEnd(128 + GetParam()), (Results{{"held interrupted", 1}}));
  EXPECT_EQ(held_.Rest(), kCanCan);
}

INSTANTIATE_TEST_SUITE_P(InterruptedWatch, SignalToAWatch,
                         ::testing::Values(SIGINT, SIGTERM, SIGHUP), [](const auto& row) {
                           return std::string("Sig") + ::sigabbrev_np(row.param);
                         });

TEST_F(InterruptedWatch, OfWhichNothingCameIsAnEmptySum) {
  Start();
  Signal(SIGINT);
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 128 + SIGINT);
  EXPECT_THAT(report.output,
              MatchesRegex("\\{\"event\":\"summary\",\"boards\":0,\"flashed\":0,\"failed\":0,"
                           "\"seconds\":[0-9.]+\\}\n"));
  EXPECT_EQ(report.error_output, "");
}

TEST_F(InterruptedWatch, FinishesABoardOnlyUpToItsFailure) {
  ASSERT_NO_FATAL_FAILURE(StartWithABoardInWork());
  Signal(SIGINT);
  held_.Terminal().Send(kCanCan);
  EXPECT_EQ(ResultsAtTheEnd(128 + SIGINT), (Results{{"held broken", 1}}));
}

TEST_F(InterruptedWatch, BeginsNoBoardThatWaitsForItsTurn) {
  ASSERT_NO_FATAL_FAILURE(StartWithABoardInWork({"--jobs", "1"}));
  Plug("other", other_.Path());
  Signal(SIGINT);
  ASSERT_NO_FATAL_FAILURE(held_.TakesTheLastBlock());
  EXPECT_EQ(ResultsAtTheEnd(128 + SIGINT), (Results{{"held flashed", 1}}));
  EXPECT_FALSE(other_.HasFlash());
}

TEST_F(InterruptedWatch, BeginsNotAgainWithTheBoardThatCameBackInItsWork) {
  ASSERT_NO_FATAL_FAILURE(StartWithABoardInWork());
  Unplug("held");
  Plug("held", held_.Path());
  Plug("other", other_.Path());
  WaitFor("finished", "other");
  Signal(SIGINT);
  ASSERT_NO_FATAL_FAILURE(held_.TakesTheLastBlock());
  EXPECT_EQ(ResultsAtTheEnd(128 + SIGINT), (Results{{"held flashed", 1}, {"other flashed", 1}}));
}

TEST_F(InterruptedWatch, EndsAllBoardsInWorkByTheSecondSignal) {
  const PlayedBoard asked;
  ASSERT_NO_FATAL_FAILURE(StartWithABoardInWork());
  Plug("asked", asked.Path());
  ASSERT_NO_FATAL_FAILURE(asked.GetsTheReceiveCommand());
  Signal(SIGINT);
  Signal(SIGTERM);
  EXPECT_EQ(ResultsAtTheEnd(128 + SIGTERM),
            (Results{{"held interrupted", 1}, {"asked interrupted", 1}}));
  EXPECT_EQ(held_.Rest(), kCanCan);
  EXPECT_EQ(asked.Rest(), kCanCan);
}

TEST_F(InterruptedWatch, EndsABoardWhoseProcessHangsByTheSecondSignal) {
  ASSERT_NO_FATAL_FAILURE(StartWithABoardInWork());
  const pid_t worker = WorkerOf(*program_, held_.Path());
  ASSERT_NE(worker, -1);
  ::kill(worker, SIGSTOP);
  Signal(SIGINT);
  Signal(SIGTERM);
  EXPECT_EQ(ResultsAtTheEnd(128 + SIGTERM), (Results{{"held interrupted", 1}}));
  EXPECT_EQ(held_.Rest(), kCanCan);
  EXPECT_TRUE(WaitUntilGone(worker));
}

// Signals from the keyboard reach all processes.
class KeyboardSignal : public InterruptedWatch {
 protected:
  KeyboardSignal() { run_by_ = {"setsid"}; }
  void Press() { Signal(SIGINT, -program_->Id()); }
};

TEST_F(KeyboardSignal, FinishesTheBoardInWorkThoughItsProcessGetsItToo) {
  ASSERT_NO_FATAL_FAILURE(StartWithABoardInWork());
  Press();
  ASSERT_NO_FATAL_FAILURE(held_.TakesTheLastBlock());
  EXPECT_EQ(ResultsAtTheEnd(128 + SIGINT), (Results{{"held flashed", 1}}));
  EXPECT_EQ(held_.Rest(), "");
}

TEST_F(KeyboardSignal, InterruptsItOnceWhenItIsTheSecond) {
  ASSERT_NO_FATAL_FAILURE(StartWithABoardInWork());
  Press();
  std::this_thread::sleep_for(std::chrono::seconds(1));  // as long as a person takes
  Press();
  EXPECT_EQ(ResultsAtTheEnd(128 + SIGINT), (Results{{"held interrupted", 1}}));
  EXPECT_EQ(held_.Rest(), kCanCan);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
