// What lies between the board and its line: the pace of a real one, and the trace.
#include <array>
#include <sstream>

#include "simulator/PacedLine.h"
#include "simulator/TracedLine.h"
#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;

// Reads until `count` bytes have come, at most `piece_size` at once.
Bytes ReadBytes(Line& line, std::size_t count, std::size_t piece_size = 256) {
  Bytes all;
  Bytes piece(piece_size);
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
  EXPECT_EQ(ToHex(ReadBytes(line, 5, 2)), "01 02 03 04 05");
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
  EXPECT_EQ(wire.Pieces(), std::vector<std::string>{"ping_callback_function\r\n"});
  EXPECT_EQ(wire.Times(), std::vector<std::int64_t>{25});
}

TEST(PacedLineTest, LongAnswerComesInPiecesOf64Bytes) {
  ScriptedLine wire;
  PacedLine line(wire, 6400);
  line.Write(Pattern(150));
  EXPECT_EQ(wire.SentText(), ToText(Pattern(150)));
  EXPECT_EQ(wire.Times(), (std::vector<std::int64_t>{100, 200, 234}));
}

// Each wait takes 3 ms longer than asked for.
class OversleepingLine : public ScriptedLine {
 public:
  void WaitUntil(TimePoint until) override {
    if (until > Now()) {
      ScriptedLine::WaitUntil(until + milliseconds(3));
    }
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

TimePoint AtUs(std::int64_t time) { return TimePoint(std::chrono::microseconds(time)); }

class TraceTest : public OnScriptedLine {};

TEST_F(TraceTest, RowShowsTimeDirectionHexAndText) {
  trace_.Bytes(Direction::kHostToBoard, FromHex("01 00 ff 30 7e 7f 20"), AtUs(12'345));
  trace_.EndRow();
  EXPECT_EQ(trace_.Text(),
            "   0.012345 > 01 00 ff 30 7e 7f 20                             |...0~. |\n");
}

TEST_F(TraceTest, RowHolds16Bytes) {
  trace_.Bytes(Direction::kBoardToHost, FromText("0123456789abcdefgh"), AtUs(1'000'000));
  trace_.EndRow();
  EXPECT_EQ(trace_.Text(),
            "   1.000000 < 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66  |0123456789abcdef|\n"
            "   1.000000 < 67 68                                            |gh|\n");
}

TEST_F(TraceTest, BytesOfOneDirectionShareARow) {
  trace_.Bytes(Direction::kHostToBoard, FromText("a"), AtUs(1));
  trace_.Bytes(Direction::kHostToBoard, FromText("b"), AtUs(2));
  EXPECT_EQ(trace_.Text(), "");
  trace_.Bytes(Direction::kBoardToHost, FromText("c"), AtUs(3));
  trace_.Event("fault nak@eot", AtUs(4));
  EXPECT_EQ(trace_.Text(),
            "   0.000001 > 61 62                                            |ab|\n"
            "   0.000003 < 63                                               |c|\n"
            "   0.000004 # fault nak@eot\n");
}

TEST_F(TraceTest, LongTimesTakeTheirRoom) {
  trace_.Event("x", AtUs(123'456'789'012));
  EXPECT_EQ(trace_.Text(), "123456.789012 # x\n");
}

TEST_F(TraceTest, LinePassesBytesOnAndRecordsThem) {
  line_.Arrive(FromHex("30")).Pause(2).Arrive(FromHex("31")).Pause(50).Arrive(FromHex("32"));
  TracedLine line(line_, trace_);
  std::array<std::uint8_t, 8> into{};
  EXPECT_EQ(line.Read(into, kNever), 1U);
  EXPECT_EQ(line.Read(into, kNever), 1U);
  EXPECT_EQ(trace_.Text(), "");
  EXPECT_EQ(line.Read(into, kNever), 1U);
  EXPECT_EQ(into[0], 0x32);
  line.Write(FromHex("41"));
  line.WaitUntil(AtUs(60'000));
  EXPECT_EQ(line_.SentHex(), "41");
  EXPECT_EQ(trace_.Text(),
            "   0.000000 > 30 31                                            |01|\n"
            "   0.052000 > 32                                               |2|\n"
            "   0.052000 < 41                                               |A|\n");
}

TEST(TraceLifeTest, LastRowIsWrittenAtTheEnd) {
  std::stringbuf buffer;
  {
    Trace trace(std::make_unique<std::ostream>(&buffer), AtUs(0));
    trace.Bytes(Direction::kHostToBoard, FromText("a"), AtUs(0));
  }
  EXPECT_EQ(buffer.str(), "   0.000000 > 61                                               |a|\n");
}

TEST(TraceLifeTest, TraceWithoutOutputRecordsNothing) {
  Trace trace;
  trace.Bytes(Direction::kHostToBoard, Bytes(100), AtUs(0));
  EXPECT_NO_THROW(trace.Event("x", AtUs(0)));
}

}  // namespace
}  // namespace kvo::boardsimulator
