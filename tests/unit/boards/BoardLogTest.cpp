#include "boards/BoardLog.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "support/FakeTime.h"
#include "support/Files.h"
#include "unit/boards/ShownBoards.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::FakeTime;
using bootloadertms::testing::ReadFile;
using bootloadertms::testing::TemporaryFolder;

class BoardLogTest : public ::testing::Test {
 protected:
  std::string Content() const { return ReadFile(path_); }

  FakeTime time_{[](auto asked) { return asked; }};
  TemporaryFolder folder_;
  std::string path_ = folder_.Path("board.log");
};

TEST_F(BoardLogTest, LinesFollowWhatIsThere) {
  BoardLog(path_).Line("the first");
  time_.AdvanceWallClock(std::chrono::microseconds(1000042));
  BoardLog(path_).Line("the second\x1b\n");
  EXPECT_EQ(Content(),
            "2001-09-09T01:46:40.000000Z the first\n"
            "2001-09-09T01:46:41.000042Z the second\\x1b\\x0a\n");
}

TEST_F(BoardLogTest, APieceOfATraceIsThereAtOnceAndOnlyItsLinesHaveTheirTime) {
  BoardLog log(path_);
  std::ostream trace(&log.Trace());
  trace << "Send"
        << "ing\n\nblock" << ' ';
  EXPECT_EQ(Content(),
            "2001-09-09T01:46:40.000000Z Sending\n"
            "2001-09-09T01:46:40.000000Z \n"
            "2001-09-09T01:46:40.000000Z block ");
}

TEST_F(BoardLogTest, ALineEndsAnotherWritersTrace) {
  BoardLog tracing(path_);
  std::ostream trace(&tracing.Trace());
  trace << "block";
  BoardLog(path_).Line("the deadline is over");
  trace << " 17\n";
  EXPECT_EQ(Content(),
            "2001-09-09T01:46:40.000000Z block\n"
            "2001-09-09T01:46:40.000000Z the deadline is over\n"
            "2001-09-09T01:46:40.000000Z  17\n");
}

TEST_F(BoardLogTest, ALogThatIsNotThereTakesEverything) {
  for (const std::string& path : {folder_.Path("none/board.log"), std::string()}) {
    BoardLog log = path.empty() ? BoardLog() : BoardLog(path);
    log.Line("a line");
    std::ostream trace(&log.Trace());
    EXPECT_TRUE(trace << "a trace" << '\n' << std::flush);
  }
}

TEST_F(BoardLogTest, APipeThatNobodyReadsHoldsNobodyUp) {
  ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
  BoardLog log(path_);
  EXPECT_TRUE(log.IsOpen());
  for (int i = 0; i < 100; ++i) {
    log.Line(std::string(4096, 'x'));
  }
}

TEST_F(BoardLogTest, ALogTellsItsBoardsStory) {
  std::vector<BoardStatus> boards = {SendingBoard(), SendingBoard()};
  boards[0].log_path = folder_.Path("other.log");
  boards[1].log_path = path_;
  const std::unique_ptr<Display> display = MakeLogDisplay();
  display->Show(boards[0], Change::kAttempt);
  display->Show(boards[1], Change::kCame);
  display->Show(boards[1], Change::kAttempt);
  display->Show(boards[1], Change::kStep);
  display->Show(boards[1], Change::kProgress);
  display->Show(boards[1], Change::kProgress);
  boards[1].end = FlashedBoard().end;
  display->Show(boards[1], Change::kEnd);
  display->Show(boards[1], Change::kGone);
  display->Finish({2, 1, 1, 3.5});
  EXPECT_EQ(Content(),
            "2001-09-09T01:46:40.000000Z attempt 1\n"
            "2001-09-09T01:46:40.000000Z sending\n"
            "2001-09-09T01:46:40.000000Z 50 %\n"
            "2001-09-09T01:46:40.000000Z flashed in 3.4 s\n");
  EXPECT_EQ(ReadFile(folder_.Path("other.log")), "2001-09-09T01:46:40.000000Z attempt 1\n");
}

TEST(LogPathsTest, APortsNameBecomesAFilesName) {
  EXPECT_EQ(
      LogPaths("logs", {"/dev/ttyUSB0", "tcp:host:4000", "../x y\n\xff", "dev/ttyUSB0",
                        "//dev/ttyUSB0", "/", "@AZ[`az{/09:"}),
      (std::vector<std::string>{"logs/dev_ttyUSB0.log", "logs/tcp_host_4000.log", "logs/x_y__.log",
                                "logs/dev_ttyUSB0-2.log", "logs/dev_ttyUSB0-3.log", "logs/port.log",
                                "logs/_AZ__az__09_.log"}));
}

TEST(LogPathsTest, ANumberedNameIsNotTakenTwice) {
  EXPECT_EQ(LogPaths("logs", {"a-2", "a", "/a"}),
            (std::vector<std::string>{"logs/a-2.log", "logs/a.log", "logs/a-3.log"}));
}

TEST_F(BoardLogTest, ALogOfNowCarriesTimeAndPortAndTakesNoNameTwice) {
  const std::string folder = folder_.Path(".");
  const std::string first = folder + "/20010909T014640.000Z-dev_ttyUSB0.log";
  EXPECT_EQ(LogPathOfNow(folder, "/dev/ttyUSB0"), first);
  const BoardLog log(first);
  EXPECT_EQ(LogPathOfNow(folder, "dev/ttyUSB0"),
            folder + "/20010909T014640.000Z-dev_ttyUSB0-2.log");
}

TEST_F(BoardLogTest, OnlyALogThatNothingWasWrittenToIsRemoved) {
  const std::string empty = folder_.Path("empty.log");
  const BoardLog log(empty);
  BoardLog(path_).Line("text");
  RemoveEmptyLog(empty);
  RemoveEmptyLog(path_);
  EXPECT_FALSE(std::filesystem::exists(empty));
  EXPECT_TRUE(std::filesystem::exists(path_));
}

TEST(LogPathsTest, ALongNameKeepsItsEnd) {
  EXPECT_EQ(LogPaths("logs", {std::string(300, 'x') + "y"}),
            (std::vector<std::string>{"logs/" + std::string(199, 'x') + "y.log"}));
}

TEST(LogPathsTest, ATraceWithoutALogGoesNowhere) {
  BoardLog log;
  EXPECT_EQ(log.Trace().sputn("text", 4), 4);
  EXPECT_EQ(log.Trace().sputc('c'), 'c');
}

}  // namespace
}  // namespace kvo::boards
