// How often a board is tried, and how many are served at once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <string>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::string_literals;

class AttemptsTest : public ::testing::Test {
 protected:
  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(2548));
};

struct AttemptsRow {
  const char* name;
  std::vector<std::string> board;
  const char* reason;  // of the end; none: flashed
  int attempts;        // of three
  std::vector<std::string> options = {};
};

void PrintTo(const AttemptsRow& row, std::ostream* out) { *out << row.name; }

class TriedAgain : public AttemptsTest, public ::testing::WithParamInterface<AttemptsRow> {};

TEST_P(TriedAgain, OnlyIfThatMayHelp) {
  SimulatedBoard board(std::vector<std::string>{"--state", "bootloader"} + GetParam().board);
  const Report report =
      RunBoards(kTransferAlone + GetParam().options +
                std::vector<std::string>{"--attempts", "3", image_, board.Path()});
  const Json finished = report.Only("finished");
  EXPECT_THAT(finished, HasFields(Json{{"attempts", GetParam().attempts}}));
  const bool flashed = GetParam().reason == ""s;
  EXPECT_EQ(report.exit_status, flashed ? 0 : 1);
  if (flashed) {
    EXPECT_THAT(finished, HasFields(Json{{"result", "flashed"}}));
    EXPECT_EQ(board.Flash(), ReadFile(image_));
  } else {
    EXPECT_THAT(finished, FailedBy(GetParam().reason));
  }
  const std::vector<Json> started = report.All("started", board.Path());
  ASSERT_EQ(started.size(), static_cast<std::size_t>(GetParam().attempts));
  for (std::size_t i = 0; i < started.size(); ++i) {
    EXPECT_THAT(started[i], HasFields(Json{{"attempt", i + 1}}));
  }
}

INSTANTIATE_TEST_SUITE_P(
    AttemptsTest, TriedAgain,
    ::testing::Values(AttemptsRow{"BrokenByCan", {"--fault", "can@block:2"}, "", 2},
                      AttemptsRow{"BrokenByCanTwice", {"--fault", "can@block:2/2"}, "", 3},
                      AttemptsRow{
                          "BrokenByCanAlways", {"--fault", "can@block:2/always"}, "broken", 3},
                      AttemptsRow{"BrokenBySilence", {"--fault", "silence@block:2"}, "", 2},
                      AttemptsRow{"RejectedOnce", {"--fault", "byte=45@verdict"}, "", 2},
                      AttemptsRow{"DeadlineOnce",
                                  {"--ask-again", "wait@1", "--line-end", "none"},
                                  "",
                                  2,
                                  {"--deadline", "5"}},
                      AttemptsRow{"RefusedForAnotherKind", {"--board", "wk"}, "refused", 1},
                      AttemptsRow{"RefusedOnce", {"--fault", "byte=46@start"}, "refused", 1},
                      AttemptsRow{"Silent", {"--ping-silence", "1000"}, "silent", 1}),
    [](const auto& row) { return row.param.name; });

class LostPort : public AttemptsTest {
 protected:
  const std::string port_ = folder_.Path("port");
};

TEST_F(LostPort, IsTriedAgainOnceItIsBack) {
  const SimulatedBoard unplugged(
      {"--state", "bootloader", "--link", port_, "--fault", "hangup@block:2"});
  const auto program =
      StartBoards(kTransferAlone + std::vector<std::string>{"--attempts", "2", image_, port_});
  EXPECT_TRUE(program->WaitUntil([&] { return !std::filesystem::exists(port_); },
                                 std::chrono::seconds(60)));
  const SimulatedBoard back({"--state", "bootloader", "--link", port_});
  const Report report = ReportOf(*program);
  EXPECT_EQ(report.exit_status, 0) << report.output << report.error_output;
  EXPECT_THAT(report.Only("finished"),
              HasFields(Json{{"port", port_}, {"result", "flashed"}, {"attempts", 2}}));
  EXPECT_EQ(back.Flash(), ReadFile(image_));
}

TEST_F(LostPort, IsGivenUpWhenItStaysAway) {
  const SimulatedBoard unplugged(
      {"--state", "bootloader", "--link", port_, "--fault", "hangup@block:2"});
  const Report report =
      RunBoards(kTransferAlone + std::vector<std::string>{"--attempts", "2", image_, port_});
  EXPECT_EQ(report.exit_status, 1);
  const Json finished = report.Only("finished");
  EXPECT_THAT(finished, FailedBy("lost"));
  EXPECT_THAT(finished, HasFields(Json{{"attempts", 1}}));
  EXPECT_THAT(finished.value("message", ""),
              ::testing::AllOf(
                  ::testing::StartsWith("the port was not back after 10 s before another attempt; "
                                        "the last one: the port is gone: "),
                  ::testing::HasSubstr("block 2 of 3")));
}

TEST_F(LostPort, IsNotWaitedForAfterAnInterrupt) {
  const SimulatedBoard unplugged(
      {"--state", "bootloader", "--link", port_, "--fault", "hangup@block:2"});
  const auto program =
      StartBoards(kTransferAlone + std::vector<std::string>{"--attempts", "9", image_, port_});
  EXPECT_TRUE(program->WaitUntil([&] { return !std::filesystem::exists(port_); },
                                 std::chrono::seconds(60)));
  program->Signal(SIGINT);
  const Report report = ReportOf(*program);
  EXPECT_EQ(report.exit_status, 128 + SIGINT);
  EXPECT_THAT(report.Only("finished"), HasFields(Json{{"attempts", 1}}));
}

class JobsTest : public AttemptsTest, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(JobsTest, AreTheMostBoardsAtOnce) {
  std::vector<std::unique_ptr<SimulatedBoard>> boards;
  std::vector<std::string> run =
      kTransferAlone + std::vector<std::string>{"--jobs", std::to_string(GetParam()), image_};
  for (int i = 0; i < 5; ++i) {
    boards.push_back(std::make_unique<SimulatedBoard>(
        std::vector<std::string>{"--state", "bootloader", "--fault", "late=300@start"}));
    run.push_back(boards.back()->Path());
  }
  const Report report = RunBoards(run);
  EXPECT_EQ(report.exit_status, 0) << report.output << report.error_output;
  std::size_t at_once = 0;
  std::size_t most = 0;
  for (const Json& event : report.events) {
    at_once += event.at("event") == "started" ? 1U : 0U;
    at_once -= event.at("event") == "finished" ? 1U : 0U;
    most = std::max(most, at_once);
  }
  EXPECT_EQ(most, GetParam());
}

INSTANTIATE_TEST_SUITE_P(AttemptsTest, JobsTest, ::testing::Values(1, 2, 5));

TEST_F(AttemptsTest, AllPortsAreLockedBeforeTheFirstByteWhoeverComesLater) {
  const PlayedBoard first;
  const PlayedBoard second;
  const auto program =
      StartBoards(kTransferAlone +
                  std::vector<std::string>{"--jobs", "1", image_, first.Path(), second.Path()});
  ASSERT_NO_FATAL_FAILURE(first.Gets(1));
  EXPECT_NE(RunProgram({"flock", "--nonblock", second.Path(), "true"}).exit_status, 0);
  EXPECT_EQ(second.Rest(), "");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
