#include "simulator/TextSender.h"

#include <gtest/gtest.h>

#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;

class TextSenderTest : public testing::Test {
 protected:
  TextSender Sender() { return {stream_, manner_}; }
  std::string SentHex() const { return ToHex(line_.Sent()); }
  std::vector<std::string> Pieces() const {
    std::vector<std::string> pieces;
    for (const auto& answer : line_.Answers()) {
      pieces.emplace_back(answer.bytes.begin(), answer.bytes.end());
    }
    return pieces;
  }

  ScriptedLine line_;
  ByteStream stream_{line_};
  TextManner manner_;
};

TEST_F(TextSenderTest, LineGoesOutAtOnceInOnePieceWithItsEnd) {
  Sender().AnswerLine("text");
  EXPECT_EQ(Pieces(), std::vector<std::string>{"text\r\n"});
  EXPECT_EQ(line_.NowInMs(), 0);
}

TEST_F(TextSenderTest, LineMayEndOtherwise) {
  manner_.line_end = std::string(1, '\0');
  Sender().AnswerLine("A");
  manner_.line_end = "";
  Sender().AnswerLine("B");
  EXPECT_EQ(SentHex(), "41 00 42");
}

TEST_F(TextSenderTest, ExactAnswerGetsNoLineEnd) {
  Sender().Answer("A");
  EXPECT_EQ(SentHex(), "41");
}

TEST_F(TextSenderTest, AnswerComesAfterTheDelay) {
  manner_.delay = milliseconds(150);
  Sender().AnswerLine("a");
  Sender().Answer("b");
  EXPECT_EQ(line_.AnswerTimes(), (std::vector<std::int64_t>{150, 300}));
}

TEST_F(TextSenderTest, NoAnswerTakesNoTime) {
  manner_.delay = milliseconds(150);
  Sender().Answer("");
  EXPECT_TRUE(line_.Answers().empty());
  EXPECT_EQ(line_.NowInMs(), 0);
}

TEST_F(TextSenderTest, ReportIsNotDelayed) {
  manner_.delay = milliseconds(150);
  Sender().ReportLine("a");
  EXPECT_EQ(Pieces(), std::vector<std::string>{"a\r\n"});
  EXPECT_EQ(line_.NowInMs(), 0);
}

TEST_F(TextSenderTest, PiecesComeOneAfterTheOther) {
  manner_.delay = milliseconds(100);
  manner_.piece_size = 3;
  manner_.piece_pause = milliseconds(20);
  Sender().AnswerLine("abcdef");
  EXPECT_EQ(Pieces(), (std::vector<std::string>{"abc", "def", "\r\n"}));
  EXPECT_EQ(line_.AnswerTimes(), (std::vector<std::int64_t>{100, 120, 140}));
}

TEST_F(TextSenderTest, PiecesAre10MsApartUnlessToldOtherwise) {
  manner_.piece_size = 4;
  Sender().ReportLine("abcd");
  EXPECT_EQ(Pieces(), (std::vector<std::string>{"abcd", "\r\n"}));
  EXPECT_EQ(line_.AnswerTimes(), (std::vector<std::int64_t>{0, 10}));
}

TEST_F(TextSenderTest, LongTextIsOnePiece) {
  Sender().AnswerLine(std::string(1000, 'x'));
  EXPECT_EQ(line_.Answers().size(), 1U);
  EXPECT_EQ(line_.Sent().size(), 1002U);
}

}  // namespace
}  // namespace kvo::boardsimulator
