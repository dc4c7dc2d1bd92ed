#include "faults/ObligingBoard.h"

#include <gtest/gtest.h>

#include <string>

#include "tables/TransferModel.h"

namespace kvo::bootloadertms::testing {
namespace {

// The board confirms nothing but the whole image: what lets an upload succeed in the other tests.
class ObligingBoardTest : public ::testing::Test {
 protected:
  // The bytes that a board for `image` answers.
  static std::string AnswerTo(const std::string& bytes, const std::string& image) {
    ObligingBoard board(ObligingBoard::Program::kBootloader, image);
    for (const char byte : bytes) {
      board.WriteByte(static_cast<std::uint8_t>(byte));
    }
    std::string answer;
    while (board.HasAnswer()) {
      answer += static_cast<char>(board.ReadByte());
    }
    EXPECT_EQ(board.HasConfirmed(), answer.ends_with('O'));
    return answer;
  }

  const std::string image_ = std::string(700, '\x01');
  const std::string start_ = "1" + PacketOf(0, PacketZeroOfBoard(700, {}));
  const std::string block_ = PacketOf(1, image_ + std::string(324, '\xFF'));
  const std::string end_ = "\x04" + PacketOf(0, std::string(128, '\0'));
};

TEST_F(ObligingBoardTest, ConfirmsAnImageThatIsWhole) {
  EXPECT_EQ(AnswerTo(start_ + block_ + end_, image_), "C\x06\x43\x06\x06\x43\x06O");
  EXPECT_EQ(AnswerTo(start_ + block_ + block_ + end_, image_), "C\x06\x43\x06\x06\x06\x43\x06O");
}

TEST_F(ObligingBoardTest, RefusesAnyOther) {
  const std::string refused = "C\x06\x43\x06\x06\x43\x06\x45";
  EXPECT_EQ(AnswerTo(start_ + end_, image_), "C\x06\x43\x06\x43\x06\x45");
  EXPECT_EQ(AnswerTo(start_ + block_ + end_, std::string(700, '\x02')), refused);
  EXPECT_EQ(AnswerTo(start_ + block_ + end_, image_ + '\xFF'), refused) << "another length";
}

TEST_F(ObligingBoardTest, AsksForABrokenPacketAgain) {
  std::string broken = block_;
  broken[500] = '\x03';
  EXPECT_EQ(AnswerTo(start_ + broken, image_), "C\x06\x43\x15");
  broken = block_;
  broken[2] = '\x00';
  EXPECT_EQ(AnswerTo(start_ + broken, image_), "C\x06\x43\x15");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
