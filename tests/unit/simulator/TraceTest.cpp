#include "simulator/Trace.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

#include "simulator/TracedLine.h"
#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

TimePoint AtUs(std::int64_t time) { return TimePoint(std::chrono::microseconds(time)); }

class TraceTest : public testing::Test {
 protected:
  TraceTest() : TraceTest(std::make_unique<std::ostringstream>()) {}

  std::string Text() const { return output_->str(); }

 private:
  explicit TraceTest(std::unique_ptr<std::ostringstream> output)
      : output_(output.get()), trace_(std::move(output), AtUs(0)) {}

  std::ostringstream* output_;

 protected:
  Trace trace_;
};

TEST_F(TraceTest, RowShowsTimeDirectionHexAndText) {
  trace_.Bytes(Direction::kHostToBoard, FromHex("01 00 ff 30 7e 7f 20"), AtUs(12'345));
  trace_.EndRow();
  EXPECT_EQ(Text(), "   0.012345 > 01 00 ff 30 7e 7f 20                             |...0~. |\n");
}

TEST_F(TraceTest, RowHolds16Bytes) {
  trace_.Bytes(Direction::kBoardToHost, FromText("0123456789abcdefgh"), AtUs(1'000'000));
  trace_.EndRow();
  EXPECT_EQ(Text(),
            "   1.000000 < 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66  |0123456789abcdef|\n"
            "   1.000000 < 67 68                                            |gh|\n");
}

TEST_F(TraceTest, BytesOfOneDirectionShareARow) {
  trace_.Bytes(Direction::kHostToBoard, FromText("a"), AtUs(1));
  trace_.Bytes(Direction::kHostToBoard, FromText("b"), AtUs(2));
  EXPECT_EQ(Text(), "");
  trace_.Bytes(Direction::kBoardToHost, FromText("c"), AtUs(3));
  trace_.Event("fault nak@eot", AtUs(4));
  EXPECT_EQ(Text(),
            "   0.000001 > 61 62                                            |ab|\n"
            "   0.000003 < 63                                               |c|\n"
            "   0.000004 # fault nak@eot\n");
}

TEST_F(TraceTest, LongTimesTakeTheirRoom) {
  trace_.Event("x", AtUs(123'456'789'012));
  EXPECT_EQ(Text(), "123456.789012 # x\n");
}

TEST_F(TraceTest, LinePassesBytesOnAndRecordsThem) {
  ScriptedLine wire;
  wire.Arrive(FromHex("30")).Pause(1).Arrive(FromHex("31")).Pause(50).Arrive(FromHex("32"));
  TracedLine line(wire, trace_);
  std::array<std::uint8_t, 8> into{};
  EXPECT_EQ(line.Read(into, kNever), 1U);
  EXPECT_EQ(line.Read(into, kNever), 1U);
  EXPECT_EQ(Text(), "");
  EXPECT_EQ(line.Read(into, kNever), 1U);
  EXPECT_EQ(into[0], 0x32);
  line.Write(FromHex("41"));
  line.WaitUntil(AtUs(60'000));
  EXPECT_EQ(ToHex(wire.Sent()), "41");
  EXPECT_EQ(Text(),
            "   0.000000 > 30 31                                            |01|\n"
            "   0.051000 > 32                                               |2|\n"
            "   0.051000 < 41                                               |A|\n");
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

TEST(TraceLifeTest, FileThatCannotBeMadeIsAnError) {
  EXPECT_THROW(TraceIntoFile("/nowhere/at/all/trace.txt"), std::runtime_error);
}

}  // namespace
}  // namespace kvo::boardsimulator
