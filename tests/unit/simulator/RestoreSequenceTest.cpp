#include "simulator/RestoreSequence.h"

#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

// The 'Q' has come at 0 ms.
class RestoreSequenceTest : public OnScriptedLine {
 protected:
  // Each byte of `text` comes `gap_ms` after the one before it.
  void Arrive(std::string_view text, std::int64_t gap_ms) {
    for (const char byte : text) {
      line_.Pause(gap_ms).Arrive({static_cast<std::uint8_t>(byte)});
    }
  }

  RestoreSequence restore_{stream_, trace_};
};

TEST_F(RestoreSequenceTest, WholeSequenceIsComplete) {
  Arrive("6tCRL", 100);
  EXPECT_EQ(restore_.Follow(AtMs(200)), RestoreStage::kComplete);
  EXPECT_EQ(line_.NowInMs(), 500);
  EXPECT_EQ(trace_.Text(),
            "   0.500000 # default parameters restored, gaps in ms: 100 100 100 100 100\n");
}

TEST_F(RestoreSequenceTest, GapsMayBeFrom50To500Ms) {
  Arrive("6t", 50);
  Arrive("CR", 500);
  Arrive("L", 51);
  EXPECT_EQ(restore_.Follow(kNever), RestoreStage::kComplete);
  EXPECT_EQ(trace_.Text(),
            "   1.151000 # default parameters restored, gaps in ms: 50 50 500 500 51\n");
}

TEST_F(RestoreSequenceTest, SecondByteMayStillComeLater) {
  Arrive("6", 300);
  Arrive("tCRL", 100);
  EXPECT_EQ(restore_.Follow(AtMs(200)), RestoreStage::kPossible);
  EXPECT_EQ(line_.NowInMs(), 200);
  EXPECT_EQ(restore_.Follow(kNever), RestoreStage::kComplete);
}

TEST_F(RestoreSequenceTest, OtherSecondByteDecidesAtOnce) {
  Arrive("0", 20);
  EXPECT_EQ(restore_.Follow(AtMs(200)), RestoreStage::kAbsent);
  EXPECT_EQ(line_.NowInMs(), 20);
  EXPECT_EQ(restore_.OtherByte(), '0');
  EXPECT_EQ(trace_.Text(), "");
}

TEST_F(RestoreSequenceTest, NoSecondByteDecidesAfter500Ms) {
  Arrive("6", 501);
  EXPECT_EQ(restore_.Follow(AtMs(200)), RestoreStage::kPossible);
  EXPECT_EQ(restore_.Follow(kNever), RestoreStage::kAbsent);
  EXPECT_EQ(line_.NowInMs(), 500);
  EXPECT_EQ(restore_.OtherByte(), std::nullopt);
  EXPECT_EQ(stream_.ReadByte(kNever), '6');
}

TEST_F(RestoreSequenceTest, WhatIsDecidedStays) {
  Arrive("06", 100);
  EXPECT_EQ(restore_.Follow(kNever), RestoreStage::kAbsent);
  EXPECT_EQ(restore_.Follow(kNever), RestoreStage::kAbsent);
  EXPECT_EQ(line_.NowInMs(), 100);
  EXPECT_EQ(stream_.ReadByte(kNever), '6');
}

TEST_F(RestoreSequenceTest, EarlySecondByteBreaksIt) {
  Arrive("6tCRL", 49);
  EXPECT_EQ(restore_.Follow(AtMs(200)), RestoreStage::kBroken);
  EXPECT_EQ(trace_.Text(),
            "   0.049000 # default parameters not restored: '6' after 49 ms, too early\n");
  EXPECT_EQ(stream_.ReadByte(kNever), 't');
}

TEST_F(RestoreSequenceTest, LaterBytesMustNotBeEarlyEither) {
  Arrive("6tC", 100);
  Arrive("R", 0);
  EXPECT_EQ(restore_.Follow(kNever), RestoreStage::kBroken);
  EXPECT_EQ(trace_.Text(),
            "   0.300000 # default parameters not restored: 'R' after 0 ms, too early\n");
}

TEST_F(RestoreSequenceTest, WrongByteBreaksIt) {
  Arrive("6tX", 100);
  EXPECT_EQ(restore_.Follow(kNever), RestoreStage::kBroken);
  EXPECT_EQ(trace_.Text(), "   0.300000 # default parameters not restored: 'X' in place of 'C'\n");
  EXPECT_EQ(restore_.OtherByte(), std::nullopt);
}

TEST_F(RestoreSequenceTest, MissingByteBreaksItAfter500Ms) {
  Arrive("6tCR", 100);
  Arrive("L", 501);
  EXPECT_EQ(restore_.Follow(kNever), RestoreStage::kBroken);
  EXPECT_EQ(trace_.Text(), "   0.900000 # default parameters not restored: no 'L' within 500 ms\n");
  EXPECT_EQ(stream_.ReadByte(kNever), 'L');
}

}  // namespace
}  // namespace kvo::boardsimulator
