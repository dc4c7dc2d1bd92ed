// Proves that in an upload of two blocks each answer of the board may be any byte, or be missing,
// or come twice, or have any byte before it: the host then does, byte by byte, what
// docs/protocol.md says, and ends or waits as it says. How many runs end in which way is worked out
// by hand.
#include <gtest/gtest.h>

#include <vector>

#include "faults/SpoiltTransfer.h"

namespace kvo::bootloadertms::testing {
namespace {

using Kind = Fault::Kind;

// The ends of the runs that spoil the first answer, the second, and so on.
using Ends = std::vector<Tally>;

class AnswerFaultTest : public ::testing::Test {
 protected:
  // One run for each answer.
  static void ExpectWith(Answering answering, Kind kind, const Ends& ends) {
    SpoiltTransfer transfer(TransferOfTwoBlocks(), answering);
    for (std::size_t position = 1; position <= kAnswers; ++position) {
      Tally tally;
      transfer.Run({{position, kind}}, tally);
      EXPECT_EQ(tally, ends.at(position - 1)) << "answer " << position;
    }
  }

  // For each answer a run for each value of the byte that is put in.
  static void ExpectWithEachValue(Answering answering, Kind kind, const Ends& ends) {
    SpoiltTransfer transfer(TransferOfTwoBlocks(), answering);
    for (std::size_t position = 1; position <= kAnswers; ++position) {
      Tally tally;
      for (unsigned value = 0; value < 256; ++value) {
        transfer.Run({{position, kind, static_cast<std::uint8_t>(value)}}, tally);
      }
      EXPECT_EQ(tally, ends.at(position - 1)) << "answer " << position;
    }
  }

  static constexpr std::size_t kAnswers = 9;
};

TEST_F(AnswerFaultTest, WithoutAFaultTheImageIsAccepted) {
  for (const Answering answering : {Answering::kLively, Answering::kTaped}) {
    Tally tally;
    SpoiltTransfer(TransferOfTwoBlocks(), answering).Run({}, tally);
    EXPECT_EQ(tally, Tally{.accepted = 1});
  }
}

TEST_F(AnswerFaultTest, AnyByteInsteadOfAnAnswerOfALivelyBoard) {
  const Ends ends = {
      {1, 1, 0, 254, 0},  // 'C'
      {1, 255, 0, 0, 0},  // ACK of packet 0
      {256, 0, 0, 0, 0},  // 'C' behind it
      {3, 253, 0, 0, 0},  // ACK of block 1
      {3, 253, 0, 0, 0},  // ACK of block 2
      {1, 255, 0, 0, 0},  // ACK of EOT
      {1, 0, 255, 0, 0},  // 'C' behind it
      {256, 0, 0, 0, 0},  // ACK of the closing packet
      {1, 0, 255, 0, 0},  // the verdict
  };
  ExpectWithEachValue(Answering::kLively, Kind::kReplace, ends);
}

TEST_F(AnswerFaultTest, AnyByteInsteadOfAnAnswerOnATape) {
  const Ends ends = {
      {1, 255, 0, 0, 0},  // 'C'
      {1, 255, 0, 0, 0},  // ACK of packet 0
      {1, 255, 0, 0, 0},  // 'C' behind it
      {1, 255, 0, 0, 0},  // ACK of block 1
      {1, 255, 0, 0, 0},  // ACK of block 2
      {1, 255, 0, 0, 0},  // ACK of EOT
      {1, 0, 255, 0, 0},  // 'C' behind it
      {1, 0, 0, 0, 255},  // ACK of the closing packet
      {1, 0, 255, 0, 0},  // the verdict
  };
  ExpectWithEachValue(Answering::kTaped, Kind::kReplace, ends);
}

TEST_F(AnswerFaultTest, AnyByteBeforeAnAnswerOfALivelyBoard) {
  const Ends ends = {
      {254, 1, 1, 0, 0},  // 'C'
      {0, 254, 2, 0, 0},  // ACK of packet 0
      {0, 0, 256, 0, 0},  // 'C' behind it
      {0, 253, 3, 0, 0},  // ACK of block 1
      {0, 253, 3, 0, 0},  // ACK of block 2
      {0, 254, 2, 0, 0},  // ACK of EOT
      {1, 0, 255, 0, 0},  // 'C' behind it
      {255, 0, 1, 0, 0},  // ACK of the closing packet
      {1, 0, 255, 0, 0},  // the verdict
  };
  ExpectWithEachValue(Answering::kLively, Kind::kInsertBefore, ends);
}

TEST_F(AnswerFaultTest, AnyByteBeforeAnAnswerOnATape) {
  const Ends ends = {
      {255, 1, 0, 0, 0},  // 'C'
      {1, 255, 0, 0, 0},  // ACK of packet 0
      {1, 255, 0, 0, 0},  // 'C' behind it
      {2, 253, 1, 0, 0},  // ACK of block 1
      {2, 253, 1, 0, 0},  // ACK of block 2
      {1, 254, 1, 0, 0},  // ACK of EOT
      {1, 0, 255, 0, 0},  // 'C' behind it
      {255, 0, 1, 0, 0},  // ACK of the closing packet
      {1, 0, 255, 0, 0},  // the verdict
  };
  ExpectWithEachValue(Answering::kTaped, Kind::kInsertBefore, ends);
}

TEST_F(AnswerFaultTest, AMissingAnswerOfALivelyBoard) {
  const Ends ends = {
      {0, 0, 0, 1, 0},  // 'C'
      {1, 0, 0, 0, 0},  // ACK of packet 0
      {1, 0, 0, 0, 0},  // 'C' behind it
      {0, 1, 0, 0, 0},  // ACK of block 1
      {0, 1, 0, 0, 0},  // ACK of block 2
      {0, 1, 0, 0, 0},  // ACK of EOT
      {0, 0, 1, 0, 0},  // 'C' behind it
      {1, 0, 0, 0, 0},  // ACK of the closing packet
      {0, 0, 1, 0, 0},  // the verdict
  };
  ExpectWith(Answering::kLively, Kind::kDelete, ends);
}

TEST_F(AnswerFaultTest, AMissingAnswerOnATape) {
  const Ends ends = {
      {0, 1, 0, 0, 0},  // 'C'
      {0, 1, 0, 0, 0},  // ACK of packet 0
      {0, 1, 0, 0, 0},  // 'C' behind it
      {0, 1, 0, 0, 0},  // ACK of block 1
      {0, 1, 0, 0, 0},  // ACK of block 2
      {0, 1, 0, 0, 0},  // ACK of EOT
      {1, 0, 0, 0, 0},  // 'C' behind it
      {0, 0, 0, 0, 1},  // ACK of the closing packet
      {0, 0, 1, 0, 0},  // the verdict
  };
  ExpectWith(Answering::kTaped, Kind::kDelete, ends);
}

TEST_F(AnswerFaultTest, ADoubledAnswerOfALivelyBoard) {
  const Ends ends = {
      {0, 0, 1, 0, 0},  // 'C'
      {0, 0, 1, 0, 0},  // ACK of packet 0
      {0, 0, 1, 0, 0},  // 'C' behind it
      {0, 0, 1, 0, 0},  // ACK of block 1
      {0, 0, 1, 0, 0},  // ACK of block 2
      {0, 0, 1, 0, 0},  // ACK of EOT
      {1, 0, 0, 0, 0},  // 'C' behind it
      {0, 0, 1, 0, 0},  // ACK of the closing packet
      {1, 0, 0, 0, 0},  // the verdict
  };
  ExpectWith(Answering::kLively, Kind::kDouble, ends);
}

TEST_F(AnswerFaultTest, ADoubledAnswerOnATape) {
  const Ends ends = {
      {1, 0, 0, 0, 0},  // 'C'
      {0, 1, 0, 0, 0},  // ACK of packet 0
      {1, 0, 0, 0, 0},  // 'C' behind it
      {0, 0, 1, 0, 0},  // ACK of block 1
      {0, 0, 1, 0, 0},  // ACK of block 2
      {0, 0, 1, 0, 0},  // ACK of EOT
      {1, 0, 0, 0, 0},  // 'C' behind it
      {0, 0, 1, 0, 0},  // ACK of the closing packet
      {1, 0, 0, 0, 0},  // the verdict
  };
  ExpectWith(Answering::kTaped, Kind::kDouble, ends);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
