#include "faults/FaultyLine.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "faults/ObligingBoard.h"
#include "tables/TransferModel.h"

namespace kvo::bootloadertms::testing {
namespace {

using Kind = Fault::Kind;

// A host that waits for the start reads whatever the line makes of these answers.
class FaultyLineTest : public ::testing::Test {
 protected:
  std::string ReadWith(const std::vector<Fault>& faults) {
    line_.Restart(faults);
    line_.WriteByte('1');
    for (int i = 0; i < 5; ++i) {
      line_.ReadByte();
    }
    return line_.Answers();
  }

  // Whether the line noticed that the host did otherwise than the model.
  template <typename Call>
  static bool Deviates(const Call& call) {
    bool deviated = false;
    ::testing::TestPartResultArray results;
    const ::testing::ScopedFakeTestPartResultReporter reporter(
        ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results);
    try {
      call();
    } catch (const Deviation&) {
      deviated = true;
    }
    return deviated && results.size() == 1;
  }

  ObligingBoard board_{ObligingBoard::Program::kBootloader};
  TransferModel model_{std::string(128, '0'), "image"};
  FaultyLine line_{board_, model_, "abc"};
};

TEST_F(FaultyLineTest, SpoilsTheAnswersThatItIsTold) {
  EXPECT_EQ(ReadWith({}), std::string("abc\0\0", 5));
  EXPECT_EQ(ReadWith({{2, Kind::kReplace, 'x'}}), std::string("axc\0\0", 5));
  EXPECT_EQ(ReadWith({{2, Kind::kDelete}}), std::string("ac\0\0\0", 5));
  EXPECT_EQ(ReadWith({{3, Kind::kDouble}}), std::string("abcc\0", 5));
  EXPECT_EQ(ReadWith({{1, Kind::kInsertBefore, 'x'}}), std::string("xabc\0", 5));
  EXPECT_EQ(ReadWith({{2, Kind::kDelay}}), std::string("a\0bc\0", 5));
  EXPECT_EQ(ReadWith({{2, Kind::kAlways, 'x'}}), std::string("axxxx", 5));
  EXPECT_EQ(ReadWith({{2, Kind::kNever}}), std::string("a\0\0\0\0", 5));
  EXPECT_EQ(ReadWith({{1, Kind::kDelete}, {2, Kind::kInsertBefore, 'x'}}),
            std::string("xbc\0\0", 5));
}

TEST_F(FaultyLineTest, NoticesAHostThatDoesOtherwiseThanTheModel) {
  EXPECT_TRUE(Deviates([this] { line_.WriteByte('2'); })) << "a wrong byte";
  EXPECT_TRUE(Deviates([this] { line_.ReadByte(); })) << "a read too soon";
  line_.WriteByte('1');
  EXPECT_TRUE(Deviates([this] { line_.WriteByte('1'); })) << "a byte too many";
  line_.Restart({{1, Kind::kReplace, 'F'}});
  line_.WriteByte('1');
  EXPECT_FALSE(Deviates([this] { line_.ReadByte(); }));
  EXPECT_TRUE(Deviates([this] { line_.ReadByte(); })) << "a read after the end";
  EXPECT_TRUE(Deviates([this] { line_.WriteByte(0x18); })) << "a byte after the end";
  EXPECT_TRUE(Deviates([this] { line_.FlushInput(); }));
}

TEST_F(FaultyLineTest, TellsWhetherAllHasBeenSent) {
  line_.Restart({{1, Kind::kReplace, 'C'}});
  EXPECT_FALSE(line_.HasSentAll());
  line_.WriteByte('1');
  EXPECT_TRUE(line_.HasSentAll());
  line_.ReadByte();
  EXPECT_FALSE(line_.HasSentAll()) << "packet 0 is to follow";
}

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
