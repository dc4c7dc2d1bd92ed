#include "faults/ObligingBoard.h"

#include <gtest/gtest.h>

#include <string>

namespace kvo::bootloadertms::testing {
namespace {

using Program = ObligingBoard::Program;

class ObligingBoardTest : public ::testing::Test {
 protected:
  // The bytes that the board answers.
  static std::string AnswerTo(ObligingBoard& board, const std::string& bytes) {
    for (const char byte : bytes) {
      board.WriteByte(static_cast<std::uint8_t>(byte));
    }
    std::string answer;
    while (board.HasAnswer()) {
      answer += static_cast<char>(board.ReadByte());
    }
    return answer;
  }
  std::string AnswerTo(const std::string& bytes) { return AnswerTo(board_, bytes); }

  const std::string image_ = std::string(700, '\x01');
  const std::string packet_zero_ = std::string("\x01\x00\xFF", 3) + "700" + std::string(14, '\0') +
                                   "TRK4_R1" + std::string(25, '\0') + "TRK4-R1-APPLICATION" +
                                   std::string(13, '\0') + "VER 1.0" + std::string(40, '\0') +
                                   "\x5B\xB8";
  const std::string block_ =
      "\x02\x01\xFE" + image_ + std::string(324, '\xFF') + std::string("\xB3\xF4");
  const std::string closing_ = std::string("\x01\x00\xFF", 3) + std::string(130, '\0');
  ObligingBoard board_{Program::kBootloader, image_};
};

TEST_F(ObligingBoardTest, AnswersTheRequestsOfTheProgramThatRuns) {
  EXPECT_EQ(AnswerTo("0"), "A");
  EXPECT_EQ(AnswerTo("6"), "");
  EXPECT_EQ(AnswerTo("0"), "ping_callback_function\r\n");
  EXPECT_EQ(AnswerTo("Q"), "");
  EXPECT_EQ(AnswerTo("0"), "A");
}

TEST_F(ObligingBoardTest, GivesAnAnswerToARead) {
  std::string data = "former content";
  board_.Read(data);
  EXPECT_EQ(data, "");
  board_.WriteByte('s');
  board_.Read(data);
  EXPECT_EQ(data, std::string("s of a bootloader\r\n\0", 20));
  EXPECT_EQ(board_.ReadByte(), 0x00);
}

TEST_F(ObligingBoardTest, GivesEachReportOfACalibrationToAReadOfItsOwn) {
  ObligingBoard board(Program::kApplication);
  board.WriteByte('K');
  std::string data;
  board.Read(data);
  EXPECT_EQ(data, std::string("KVO_CMD_CALIBRATE\r\n\0", 20));
  board.Read(data);
  EXPECT_EQ(data, std::string("calibration is half done\r\n\0", 27));
  EXPECT_EQ(board.FlushInput(), 0);
  board.Read(data);
  EXPECT_EQ(data, "");
}

TEST_F(ObligingBoardTest, ConfirmsAnImageThatIsWhole) {
  EXPECT_EQ(AnswerTo("1"), "C");
  EXPECT_EQ(AnswerTo(packet_zero_), "\x06\x43");
  EXPECT_EQ(AnswerTo(block_), "\x06");
  EXPECT_EQ(AnswerTo("\x04"), "\x06\x43");
  EXPECT_FALSE(board_.HasConfirmed());
  EXPECT_EQ(AnswerTo(closing_), "\x06O");
  EXPECT_TRUE(board_.HasConfirmed());
  board_.Restart(Program::kBootloader);
  EXPECT_FALSE(board_.HasConfirmed());
}

TEST_F(ObligingBoardTest, AnswersWhatComesTwiceTwice) {
  EXPECT_EQ(AnswerTo("1" + packet_zero_ + packet_zero_), "C\x06\x43\x06\x43");
  EXPECT_EQ(AnswerTo(block_ + block_), "\x06\x06");
  EXPECT_EQ(AnswerTo("\x04\x04"), "\x06\x43\x06\x43");
  EXPECT_EQ(AnswerTo(closing_ + closing_), "\x06O\x06O");
}

TEST_F(ObligingBoardTest, RefusesAnImageThatIsNotWhole) {
  EXPECT_EQ(AnswerTo("1" + packet_zero_ + "\x04" + closing_), "C\x06\x43\x06\x43\x06\x45");
  EXPECT_FALSE(board_.HasConfirmed());
}

TEST_F(ObligingBoardTest, RefusesAnotherImage) {
  ObligingBoard other(Program::kBootloader, std::string(700, '\x02'));
  EXPECT_EQ(AnswerTo(other, "1" + packet_zero_ + block_ + "\x04" + closing_),
            "C\x06\x43\x06\x06\x43\x06\x45");
}

TEST_F(ObligingBoardTest, RefusesAnImageOfAnotherLength) {
  ObligingBoard other(Program::kBootloader, image_ + std::string(1, '\xFF'));
  EXPECT_EQ(AnswerTo(other, "1" + packet_zero_ + block_ + "\x04" + closing_),
            "C\x06\x43\x06\x06\x43\x06\x45");
}

TEST_F(ObligingBoardTest, AsksForABrokenPacketAgain) {
  std::string broken = block_;
  broken[500] = '\x03';
  EXPECT_EQ(AnswerTo("1" + packet_zero_ + broken), "C\x06\x43\x15");
  broken = block_;
  broken[2] = '\x00';
  EXPECT_EQ(AnswerTo(broken), "\x15");
  EXPECT_EQ(AnswerTo(block_ + "\x04" + closing_), "\x06\x06\x43\x06O");
}

TEST_F(ObligingBoardTest, ACancelledTransferIsOver) {
  EXPECT_EQ(AnswerTo("1\x18\x18"), "C");
  EXPECT_EQ(AnswerTo("0"), "A");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
