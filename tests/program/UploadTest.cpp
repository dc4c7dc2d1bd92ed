#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "program/Programs.h"
#include "program/UploadTexts.h"

namespace kvo::bootloadertms::testing {
namespace {

// Bytes of every value, the same for a length each time.
std::string ImageOf(std::size_t length) {
  std::string image;
  std::uint32_t state = 12345;
  for (std::size_t i = 0; i < length; ++i) {
    state = state * 1664525 + 1013904223;
    image += static_cast<char>(state >> 24);
  }
  return image;
}

struct SizeRow {
  std::size_t length;
  const char* dotted_length;
  std::size_t blocks;
};

void PrintTo(const SizeRow& row, std::ostream* out) { *out << row.length << " bytes"; }

class ImageSize : public ::testing::TestWithParam<SizeRow> {
 protected:
  // Whether all answers to it came in time; nothing else is asked of it yet.
  bool UploadInTime(const std::string& path) {
    board_ = std::make_unique<SimulatedBoard>(
        std::vector<std::string>{"--board", "tv", "--state", "bootloader"});
    outcome_ = RunUtility({board_->Path(), "1000000", path, "--no_active_bootloader"});
    return outcome_.output.find("UNKNOWN SendDataPacket") == std::string::npos;
  }

  std::unique_ptr<SimulatedBoard> board_;
  Outcome outcome_{};
};

TEST_P(ImageSize, ArrivesByteForByte) {
  const TemporaryFolder folder;
  const std::string image = ImageOf(GetParam().length);
  const std::string path = folder.WriteFile("fw_tv.bin", image);
  ASSERT_TRUE(ComesThrough([&] { return UploadInTime(path); })) << outcome_.output;
  EXPECT_EQ(outcome_.exit_status, 0);
  EXPECT_EQ(outcome_.output, kReceiverAsked + PacketZeroForTv(GetParam().dotted_length) +
                                 kPacketZeroSent + kPacketZeroAccepted +
                                 std::string(GetParam().blocks, '.') + kTransferComplete);
  EXPECT_EQ(outcome_.error_output, "");
  EXPECT_TRUE(board_->HasFlash());
  EXPECT_TRUE(board_->Flash() == image) << "the board holds another image";
}

INSTANTIATE_TEST_SUITE_P(
    UploadTest, ImageSize,
    ::testing::Values(SizeRow{0, "0................", 0}, SizeRow{1, "1................", 1},
                      SizeRow{127, "127..............", 1}, SizeRow{128, "128..............", 1},
                      SizeRow{1023, "1023.............", 1}, SizeRow{1024, "1024.............", 1},
                      SizeRow{1025, "1025.............", 2},
                      SizeRow{263168, "263168...........", 257},
                      SizeRow{1048576, "1048576..........", 1024}));

struct BoardRow {
  const char* key;
  const char* image_name;
  const char* shown_names;
};

void PrintTo(const BoardRow& row, std::ostream* out) { *out << row.image_name; }

class BoardKey : public ::testing::TestWithParam<BoardRow> {};

TEST_P(BoardKey, BoardTakesItsOwnImage) {
  const TemporaryFolder folder;
  SimulatedBoard board({"--board", GetParam().key, "--state", "bootloader"});
  const Outcome outcome =
      RunUtility({board.Path(), "115200", folder.WriteFile(GetParam().image_name, "image"), "--x"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.output, kReceiverAsked + "PACKET 0 :\n5................" +
                                GetParam().shown_names +
                                "........................................" + kPacketZeroSent +
                                kPacketZeroAccepted + "." + kTransferComplete);
  EXPECT_EQ(board.Flash(), "image");
}

constexpr const char* kWheel =
    "QDL-R2..........................CORE-TAVI-WHEEL-ENGINE..........VER 1.0";
constexpr const char* kRoll =
    "QDL-R2..........................CORE-TAVI-ROLL-ENGINE...........VER 1.0";
constexpr const char* kUpper =
    "PROBEX-KLM3.....................PROBEX-APPLICATION-UPPER........VER 1.0";
constexpr const char* kBase =
    "PROBEX-KLM3.....................PROBEX-APPLICATION-BASE.........VER 1.0";
constexpr const char* kPower =
    "PWRPK-KLM2......................PWR-APPLICATION.................VER 1.0";
constexpr const char* kTrack =
    "TRK4_R1.........................TRK4-R1-APPLICATION.............VER 1.0";

INSTANTIATE_TEST_SUITE_P(UploadTest, BoardKey,
                         ::testing::Values(BoardRow{"dk", "fw_dk.bin", kWheel},
                                           BoardRow{"dr", "fw_dr.bin", kRoll},
                                           BoardRow{"pu", "fw_pu.bin", kUpper},
                                           BoardRow{"pa", "fw_PA.bin", kBase},
                                           BoardRow{"wk", "wk-image.bin", kPower},
                                           BoardRow{"tv", "tv_07_tv.bin", kTrack},
                                           BoardRow{"tw", "TV_07_TW.BIN", kTrack}));

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
  EXPECT_EQ(outcome.output, "Entering boot loader utility for TMS\n" + transferred_ +
                                "\nExiting boot loader utility for TMS\n");
}

TEST_F(UploadTest, OnAPacedLineTheImageArrivesToo) {
  SimulatedBoard board({"--board", "tv", "--state", "bootloader", "--line-rate", "1000000"});
  const Outcome outcome = RunUtility({board.Path(), "1000000", image_, "--verbose"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(board.Flash(), ReadFile(image_));
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
  EXPECT_EQ(outcome.output, "Entering boot loader utility for TMS\n" +
                                Failure("Bootloader doesn't respond. Exiting"));
  EXPECT_FALSE(board.HasFlash());
}

TEST_F(UploadTest, ABoardThatAnswersALaterPingIsUploadedTo) {
  SimulatedBoard board({"--board", "tv", "--ping-silence", "3"});
  const Outcome outcome =
      RunUtility({board.Path(), "1000000", image_, "--active_bootloader", "--active_application"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(board.Flash(), ReadFile(image_));
}

TEST_F(UploadTest, AnApplicationThatStaysSilentIsAnErrorThoughTheImageArrived) {
  SimulatedBoard board({"--board", "tv", "--state", "bootloader", "--ping-silence", "1000"});
  const Outcome outcome = RunUtility({board.Path(), "1000000", image_, "--active_application"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output, transferred_ + Failure("Application doesn't respond. Exiting"));
  EXPECT_EQ(board.Flash(), ReadFile(image_));
}

TEST_F(UploadTest, AnotherBoardRefusesTheImage) {
  SimulatedBoard board({"--board", "pu", "--state", "bootloader"});
  const Outcome outcome = RunUtility({board.Path(), "1000000", image_, "--verbose"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output, "Entering boot loader utility for TMS\n" + kReceiverAsked +
                                PacketZeroForTv("2048.............") + kPacketZeroSent + kGivenUp +
                                kTransmitFailed);
  EXPECT_FALSE(board.HasFlash());
}

TEST_F(UploadTest, OneRunFollowsTheOther) {
  SimulatedBoard board({"--board", "tv", "--state", "bootloader"});
  EXPECT_EQ(RunUtility({board.Path(), "1000000", image_, "--x"}).exit_status, 0);
  const std::string other = folder_.WriteFile("other_tv.bin", "another image");
  EXPECT_EQ(RunUtility({board.Path(), "1000000", other, "--x"}).exit_status, 0);
  EXPECT_EQ(board.Flash(), "another image");
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
