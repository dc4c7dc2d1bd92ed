#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "program/Programs.h"
#include "tables/Boards.h"
#include "tables/UploadTexts.h"

namespace kvo::bootloadertms::testing {
namespace {

struct SizeRow {
  std::size_t length;
  const char* dotted_length;
  std::size_t blocks;
};

void PrintTo(const SizeRow& row, std::ostream* out) { *out << row.length << " bytes"; }

class ImageSize : public ::testing::TestWithParam<SizeRow> {};

TEST_P(ImageSize, ArrivesByteForByte) {
  const TemporaryFolder folder;
  const std::string image = ImageOf(GetParam().length);
  SimulatedBoard board({"--board", "tv", "--state", "bootloader"});
  const Outcome outcome = RunUtility(
      {board.Path(), "1000000", folder.WriteFile("fw_tv.bin", image), "--no_active_bootloader"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.output, kReceiverAsked + PacketZeroForTv(GetParam().dotted_length) +
                                kPacketZeroSent + kPacketZeroAccepted +
                                std::string(GetParam().blocks, '.') + kTransferComplete);
  EXPECT_EQ(outcome.error_output, "");
  EXPECT_TRUE(board.HasFlash());
  EXPECT_TRUE(board.Flash() == image) << "the board holds another image";
}

INSTANTIATE_TEST_SUITE_P(UploadTest, ImageSize,
                         ::testing::Values(SizeRow{0, "0................", 0},
                                           SizeRow{1, "1................", 1},
                                           SizeRow{1023, "1023.............", 1},
                                           SizeRow{1024, "1024.............", 1},
                                           SizeRow{1025, "1025.............", 2},
                                           SizeRow{263168, "263168...........", 257}));

std::vector<Board> BoardsWithAKey() {
  std::vector<Board> boards = Boards();
  std::erase_if(boards, [](const Board& board) { return board.key.empty(); });
  return boards;
}

class EachBoard : public ::testing::TestWithParam<Board> {};

TEST_P(EachBoard, TakesItsOwnImage) {
  const auto dotted = [](std::string text, std::size_t width) {
    text.resize(width, '.');
    return text;
  };
  const Board& row = GetParam();
  const TemporaryFolder folder;
  SimulatedBoard board({"--board", row.key, "--state", "bootloader"});
  const Outcome outcome = RunUtility(
      {board.Path(), "115200", folder.WriteFile("fw_" + row.key + ".bin", "image"), "--x"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.output, kReceiverAsked + "PACKET 0 :\n" + dotted("5", 17) +
                                dotted(row.board_name, 32) + dotted(row.application_name, 32) +
                                dotted(row.version, 47) + kPacketZeroSent + kPacketZeroAccepted +
                                "." + kTransferComplete);
  EXPECT_EQ(board.Flash(), "image");
}

INSTANTIATE_TEST_SUITE_P(UploadTest, EachBoard, ::testing::ValuesIn(BoardsWithAKey()),
                         [](const auto& row) { return row.param.key; });

class UploadTest : public ::testing::Test {
 protected:
  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(2048));
  const std::string transferred_ = kReceiverAsked + PacketZeroForTv("2048.............") +
                                   kPacketZeroSent + kPacketZeroAccepted + ".." + kTransferComplete;
};

TEST_F(UploadTest, SwitchesToTheBootloaderAndBack) {
  SimulatedBoard board({"--board", "tv"});
  const Outcome outcome =
      RunUtility({board.Path(), "1000000", image_, "--active_bootloader", "--active_application"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.output, transferred_);
  EXPECT_EQ(outcome.error_output, "");
  EXPECT_EQ(board.Flash(), ReadFile(image_));
  const std::string trace = board.Trace();
  EXPECT_LT(trace.find("# bootloader started"), trace.find("# receiving an image"));
  EXPECT_LT(trace.find("# receiving an image"), trace.find("# application started"));
}

TEST_F(UploadTest, VerboseShowsTheFrontEndsBannersAndNothingOfTheProcessWideLog) {
  SimulatedBoard board({"--board", "tv"});
  const Outcome outcome = RunUtility({board.Path(), "1000000", image_, "--active_bootloader",
                                      "--active_application", "--verbose"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.output, kEntering + transferred_ + kExiting);
}

TEST_F(UploadTest, WithoutActivationAnApplicationNeverAsksAndTheUploadWaits) {
  SimulatedBoard board({"--board", "tv", "--state", "application"});
  const StandInTools tools;
  const auto utility =
      StartUtility({board.Path(), "1000000", image_, "--no_active_bootloader"}, tools);
  EXPECT_EQ(utility->Wait(std::chrono::seconds(2)), -1) << "the wait has no limit";
  EXPECT_EQ(utility->Output(), "");
}

TEST_F(UploadTest, ABoardThatSwitchesTooSlowlyIsAnErrorAndGetsNoImage) {
  SimulatedBoard board({"--board", "tv", "--switch-time", "60000"});
  const Outcome outcome =
      RunUtility({board.Path(), "1000000", image_, "--active_bootloader", "--verbose"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output, kEntering + Failure("Bootloader doesn't respond. Exiting"));
  EXPECT_FALSE(board.HasFlash());
}

TEST_F(UploadTest, AnApplicationThatStaysSilentIsAnErrorThoughTheImageArrived) {
  SimulatedBoard board({"--board", "tv", "--state", "bootloader", "--ping-silence", "1000"});
  const Outcome outcome = RunUtility({board.Path(), "1000000", image_, "--active_application"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output, transferred_ + Failure("Application doesn't respond. Exiting"));
  EXPECT_EQ(board.Flash(), ReadFile(image_));
}

TEST_F(UploadTest, TheSimulatedBoardIsFreeForTheRealPortCheck) {
  const TemporaryFolder tools;
  tools.WriteScript("bin/ps", "");
  const PathOfThisProcess path(tools.Path("bin") + ":" + CurrentPath());
  SimulatedBoard board({"--board", "tv", "--state", "bootloader"});
  RunningProgram utility({KVO_UTILITY, board.Path(), "1000000", image_, "--x"});
  EXPECT_EQ(utility.Wait(), 0);
  EXPECT_EQ(utility.ErrorOutput(), "");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
