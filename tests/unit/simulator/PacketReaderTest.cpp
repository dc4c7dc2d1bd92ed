#include "simulator/PacketReader.h"

#include <gtest/gtest.h>

#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;

class PacketReaderTest : public testing::Test {
 protected:
  SenderEvent NextBefore(int milliseconds_from_now) {
    return reader_.Next(line_.Now() + milliseconds(milliseconds_from_now));
  }
  SenderEvent Next() { return NextBefore(1000); }

  ScriptedLine line_;
  ByteStream stream_{line_};
  PacketReader reader_{stream_, milliseconds(100)};
};

// 125 zeros and "ABC"; its checksum is that of "ABC" alone.
Bytes SmallPacket() {
  return FromHex("01 07 f8") + Bytes(125) + FromText("ABC") + FromHex("39 94");
}

TEST_F(PacketReaderTest, SmallPacketGivesNumberAndData) {
  line_.Arrive(SmallPacket());
  const SenderEvent event = Next();
  EXPECT_EQ(event.kind, SenderEventKind::kPacket);
  EXPECT_EQ(event.defect, PacketDefect::kNone);
  EXPECT_EQ(event.number, 7);
  EXPECT_EQ(event.data, Bytes(125) + FromText("ABC"));
}

TEST_F(PacketReaderTest, LargePacketGives1024Bytes) {
  line_.Arrive(FromHex("02 ff 00") + Bytes(1021) + FromText("ABC") + FromHex("39 94"));
  const SenderEvent event = Next();
  EXPECT_EQ(event.kind, SenderEventKind::kPacket);
  EXPECT_EQ(event.number, 0xFF);
  EXPECT_EQ(event.data, Bytes(1021) + FromText("ABC"));
}

TEST_F(PacketReaderTest, PacketInPiecesIsOnePacket) {
  const Bytes packet = SmallPacket();
  for (const std::uint8_t byte : packet) line_.Arrive({byte}).Pause(90);
  EXPECT_EQ(Next().kind, SenderEventKind::kPacket);
}

TEST_F(PacketReaderTest, PauseBetweenTwoBytesCutsThePacketShort) {
  Bytes beginning = SmallPacket();
  beginning.pop_back();
  line_.Arrive(beginning).Pause(101).Arrive(FromHex("94"));
  const SenderEvent event = Next();
  EXPECT_EQ(event.kind, SenderEventKind::kBadPacket);
  EXPECT_EQ(event.defect, PacketDefect::kCutShort);
  EXPECT_EQ(line_.NowInMs(), 100);
}

TEST_F(PacketReaderTest, FirstByteAloneIsCutShort) {
  line_.Arrive(FromHex("02"));
  EXPECT_EQ(Next().defect, PacketDefect::kCutShort);
}

TEST_F(PacketReaderTest, ComplementMustFitTheNumber) {
  Bytes packet = SmallPacket();
  packet[2] = 0xF9;
  line_.Arrive(packet + FromHex("04"));
  const SenderEvent event = Next();
  EXPECT_EQ(event.kind, SenderEventKind::kBadPacket);
  EXPECT_EQ(event.defect, PacketDefect::kWrongComplement);
  EXPECT_EQ(Next().kind, SenderEventKind::kEndOfFile) << "the bad packet was not read to its end";
}

TEST_F(PacketReaderTest, EachByteOfDataAndChecksumIsChecked) {
  for (const std::size_t at : {3U, 130U, 131U, 132U}) {
    Bytes packet = SmallPacket();
    packet[at] ^= 0x10U;
    line_.Arrive(packet);
    const SenderEvent event = Next();
    EXPECT_EQ(event.kind, SenderEventKind::kBadPacket) << at;
    EXPECT_EQ(event.defect, PacketDefect::kWrongChecksum) << at;
  }
}

TEST_F(PacketReaderTest, ChecksumWithTheLowByteFirstIsWrong) {
  Bytes packet = SmallPacket();
  std::swap(packet[131], packet[132]);
  line_.Arrive(packet);
  EXPECT_EQ(Next().defect, PacketDefect::kWrongChecksum);
}

TEST_F(PacketReaderTest, EndOfFile) {
  line_.Arrive(FromHex("04"));
  EXPECT_EQ(Next().kind, SenderEventKind::kEndOfFile);
}

TEST_F(PacketReaderTest, OneCancelIsNoise) {
  line_.Arrive(FromHex("18"));
  EXPECT_EQ(Next().kind, SenderEventKind::kNoise);
  EXPECT_EQ(Next().kind, SenderEventKind::kNothing);
}

TEST_F(PacketReaderTest, TwoCancelsInARowCancel) {
  line_.Arrive(FromHex("18 18"));
  EXPECT_EQ(Next().kind, SenderEventKind::kNoise);
  EXPECT_EQ(Next().kind, SenderEventKind::kCancel);
}

TEST_F(PacketReaderTest, CancelsWithAByteBetweenThemDoNotCancel) {
  line_.Arrive(FromHex("18 30 18"));
  for (int byte = 0; byte < 3; ++byte) EXPECT_EQ(Next().kind, SenderEventKind::kNoise);
}

TEST_F(PacketReaderTest, OtherBytesAreNoise) {
  line_.Arrive(FromHex("00 30 06 15 43 ff"));
  for (int byte = 0; byte < 6; ++byte) EXPECT_EQ(Next().kind, SenderEventKind::kNoise);
}

TEST_F(PacketReaderTest, NothingUntilTheDeadline) {
  EXPECT_EQ(NextBefore(250).kind, SenderEventKind::kNothing);
  EXPECT_EQ(line_.NowInMs(), 250);
}

}  // namespace
}  // namespace kvo::boardsimulator
