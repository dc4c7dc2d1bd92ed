#include "simulator/PacedLine.h"

#include <gtest/gtest.h>

#include <array>

#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;

// Reads until `count` bytes have come.
Bytes ReadBytes(Line& line, std::size_t count) {
  Bytes all;
  std::array<std::uint8_t, 256> piece{};
  while (all.size() < count) {
    const std::size_t got = line.Read(piece, kNever);
    all.insert(all.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(got));
  }
  return all;
}

TEST(PacedLineTest, ByteTakesTenBitTimes) {
  ScriptedLine slow;
  slow.Arrive(FromHex("55"));
  PacedLine line(slow, 100);
  EXPECT_EQ(ToHex(ReadBytes(line, 1)), "55");
  EXPECT_EQ(slow.NowInMs(), 100);
}

TEST(PacedLineTest, ManyBytesTakeExactlyTheirLineTime) {
  ScriptedLine wire;
  wire.Pause(40).Arrive(Pattern(5000));
  PacedLine line(wire, 1'000'000);
  EXPECT_EQ(ReadBytes(line, 5000), Pattern(5000));
  EXPECT_EQ(wire.NowInMs(), 90);
}

TEST(PacedLineTest, BytesAreHandedOverAboutEachMillisecond) {
  ScriptedLine wire;
  wire.Arrive(Pattern(1000));
  PacedLine line(wire, 1'000'000);
  std::array<std::uint8_t, 4096> into{};
  EXPECT_EQ(line.Read(into, kNever), 100U);
  EXPECT_EQ(wire.NowInMs(), 1);
}

TEST(PacedLineTest, DeadlineBeforeTheArrivalKeepsTheBytes) {
  ScriptedLine wire;
  wire.Arrive(FromHex("55"));
  PacedLine line(wire, 100);
  std::array<std::uint8_t, 4> into{};
  EXPECT_EQ(line.Read(into, wire.Now() + milliseconds(99)), 0U);
  EXPECT_EQ(wire.NowInMs(), 99);
  EXPECT_EQ(line.Read(into, wire.Now() + milliseconds(99)), 1U);
  EXPECT_EQ(wire.NowInMs(), 100);
  EXPECT_EQ(into[0], 0x55);
}

TEST(PacedLineTest, SmallReadsLoseNothing) {
  ScriptedLine wire;
  wire.Arrive(FromHex("01 02 03 04 05"));
  PacedLine line(wire, 1'000'000);
  std::array<std::uint8_t, 2> into{};
  Bytes all;
  while (all.size() < 5) {
    const std::size_t count = line.Read(into, kNever);
    all.insert(all.end(), into.begin(), into.begin() + static_cast<std::ptrdiff_t>(count));
  }
  EXPECT_EQ(ToHex(all), "01 02 03 04 05");
}

TEST(PacedLineTest, TimeThatAReaderWastesIsMadeUpFor) {
  ScriptedLine wire;
  wire.Arrive(Pattern(300));
  PacedLine line(wire, 1'000'000);
  ReadBytes(line, 100);
  wire.WaitUntil(wire.Now() + milliseconds(50));
  ReadBytes(line, 200);
  EXPECT_EQ(wire.NowInMs(), 51);
}

TEST(PacedLineTest, QuietTimeGivesNoCredit) {
  ScriptedLine wire;
  wire.Arrive(Pattern(100)).Pause(1000).Arrive(Pattern(100));
  PacedLine line(wire, 1'000'000);
  ReadBytes(line, 200);
  EXPECT_EQ(wire.NowInMs(), 1001);
}

TEST(PacedLineTest, AnswerComesInOnePieceAfterItsLineTime) {
  ScriptedLine wire;
  PacedLine line(wire, 9600);
  line.Write(FromText("ping_callback_function\r\n"));
  ASSERT_EQ(wire.Answers().size(), 1U);
  EXPECT_EQ(wire.Answers().front().bytes, FromText("ping_callback_function\r\n"));
  EXPECT_EQ(wire.Answers().front().at_ms, 25);
}

TEST(PacedLineTest, LongAnswerComesInPiecesOf64Bytes) {
  ScriptedLine wire;
  PacedLine line(wire, 6400);
  line.Write(Pattern(150));
  ASSERT_EQ(wire.Answers().size(), 3U);
  EXPECT_EQ(wire.Sent(), Pattern(150));
  EXPECT_EQ(wire.AnswerTimes(), (std::vector<std::int64_t>{100, 200, 234}));
}

// Each wait takes 3 ms longer than asked for.
class OversleepingLine : public ScriptedLine {
 public:
  void WaitUntil(TimePoint until) override {
    if (until > Now()) ScriptedLine::WaitUntil(until + milliseconds(3));
  }
};

TEST(PacedLineTest, AnswerMakesUpForTheLateHandOver) {
  OversleepingLine wire;
  wire.Arrive(FromHex("01"));
  PacedLine line(wire, 1000);
  ReadBytes(line, 1);
  EXPECT_EQ(wire.NowInMs(), 13);
  line.Write(FromHex("06"));
  EXPECT_EQ(wire.NowInMs(), 23);
  line.Write(FromHex("43"));
  EXPECT_EQ(wire.NowInMs(), 36);
}

TEST(PacedLineTest, AnswerDoesNotMakeUpForASlowBoard) {
  ScriptedLine wire;
  wire.Arrive(Pattern(200));
  PacedLine line(wire, 1'000'000);
  ReadBytes(line, 100);
  wire.WaitUntil(wire.Now() + milliseconds(50));
  ReadBytes(line, 100);
  EXPECT_EQ(wire.NowInMs(), 51);
  line.Write(Bytes(100));
  EXPECT_EQ(wire.NowInMs(), 52);
}

TEST(PacedLineTest, BothDirectionsPassAtOnce) {
  ScriptedLine wire;
  wire.Arrive(FromHex("01"));
  PacedLine line(wire, 100);
  line.Write(FromHex("02"));
  EXPECT_EQ(wire.NowInMs(), 100);
  ReadBytes(line, 1);
  EXPECT_EQ(wire.NowInMs(), 100);
}

TEST(PacedLineTest, HighestRateIsPossible) {
  ScriptedLine wire;
  wire.Arrive(Pattern(10'000));
  PacedLine line(wire, 4'294'967'295U);
  EXPECT_EQ(ReadBytes(line, 10'000), Pattern(10'000));
}

}  // namespace
}  // namespace kvo::boardsimulator
