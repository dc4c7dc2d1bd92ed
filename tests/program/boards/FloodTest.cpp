// Boards that send and send, from some point on: each ends by the reason that it should, and none
// keeps the others, or the report, from going on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <termios.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::HasSubstr;

struct FloodRow {
  const char* name;
  void (*reach)(const PlayedBoard& board);  // the point
  char byte;                                // that is sent from there on
  const char* reason;
  const char* message;
  bool is_cancelled;
};

void ReachNothing(const PlayedBoard& /*board*/) {}
void ReachTheStart(const PlayedBoard& board) { board.GetsTheReceiveCommand(); }
void ReachTheSecondBlock(const PlayedBoard& board) { board.GetsABlockAfter(1); }
void ReachTheEndOfFile(const PlayedBoard& board) {
  ASSERT_NO_FATAL_FAILURE(board.GetsABlockAfter(2));
  board.Terminal().Send("\x06");
  board.Gets(1);
}
void ReachTheVerdict(const PlayedBoard& board) {
  ASSERT_NO_FATAL_FAILURE(board.GetsABlockAfter(2));
  board.TakesTheLastBlock();
  board.Gets(1);
}

const FloodRow kFloods[] = {
    {"garbage, always", ReachNothing, 'x', "silent", "no bootloader answers", false},
    {"A, always", ReachNothing, 'A', "deadline", "before block 1 of 3", true},
    {"CAN at the start", ReachTheStart, '\x18', "deadline", "before block 1 of 3", true},
    {"C at the start", ReachTheStart, 'C', "broken", "a wrong answer (0x43) before block 1", true},
    {"ACK at the start", ReachTheStart, '\x06', "deadline", "before block 1 of 3", true},
    {"C at a block", ReachTheSecondBlock, 'C', "deadline", "at block 2 of 3", true},
    {"garbage at a block", ReachTheSecondBlock, 'x', "broken", "(0x78) at block 2 of 3", true},
    {"CAN at a block", ReachTheSecondBlock, '\x18', "broken", "ended the transfer at block 2",
     false},
    {"NAK at the end of file", ReachTheEndOfFile, '\x15', "deadline", "at block 3 of 3", true},
    {"garbage after the verdict", ReachTheVerdict, 'x', "not-started", "flashed, but", false},
};

class FloodingBoard {
 public:
  explicit FloodingBoard(const FloodRow& row) : row_(row) {
    termios settings = board_.Terminal().Settings();
    settings.c_lflag = 0;  // no echo when the port has been given back
    board_.Terminal().SetSettings(settings);
    thread_ = std::jthread([this](const std::stop_token& stop) { Play(stop); });
  }

  const std::string& Path() const { return board_.Path(); }

  void ExpectEnd(const Report& report) {
    SCOPED_TRACE(row_.name);
    thread_.request_stop();
    thread_.join();
    const Json finished = report.Only("finished", Path());
    EXPECT_THAT(finished, FailedBy(row_.reason));
    EXPECT_THAT(finished.value("message", ""), HasSubstr(row_.message));
    EXPECT_EQ((received_ + board_.Rest()).ends_with(kCanCan), row_.is_cancelled);
  }

 private:
  void Play(const std::stop_token& stop) {
    row_.reach(board_);
    while (!stop.stop_requested()) {
      board_.Terminal().Pour(std::string(4096, row_.byte));
      received_ += board_.Terminal().Receive(1 << 20, std::chrono::milliseconds(1));
      received_.erase(0, std::max<std::size_t>(received_.size(), 2) - 2);
    }
  }

  const FloodRow& row_;
  PlayedBoard board_;
  std::string received_;
  std::jthread thread_;
};

TEST(FloodTest, EachBoardEndsByItsReasonAndHoldsUpNoOther) {
  const TemporaryFolder folder;
  const std::string image = ImageOf(2548);
  std::vector<std::unique_ptr<FloodingBoard>> boards;
  const SimulatedBoard good({"--state", "bootloader", "--fault", "late=1000@start"});
  std::vector<std::string> run = {
      "flash",    "--json",     "--no-switch", "--answer-timeout",
      "5000",     "--deadline", "8",           folder.WriteFile("fw_tv.bin", image),
      good.Path()};
  for (const FloodRow& row : kFloods) {
    boards.push_back(std::make_unique<FloodingBoard>(row));
    run.push_back(boards.back()->Path());
  }
  const Report report = RunBoards(run);
  for (const auto& board : boards) {
    board->ExpectEnd(report);
  }
  EXPECT_THAT(report.Only("finished", good.Path()), HasFields(Json{{"result", "flashed"}}));
  EXPECT_TRUE(good.Flash() == image) << "the good board holds another image";
  // The last that is told of it comes before the first board meets its deadline.
  EXPECT_LT(report.output.find("flashed"), report.output.find("deadline"));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
