// What a sender's bytes amount to: packets with their checksum, and packet 0.
#include <map>
#include <utility>

#include "simulator/Crc16.h"
#include "simulator/PacketReader.h"
#include "simulator/PacketZero.h"
#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;

TEST(Crc16Test, KnownValues) {
  EXPECT_EQ(Crc16(FromText("123456789")), 0x31C3);
  EXPECT_EQ(Crc16(FromText("A")), 0x58E5);
  EXPECT_EQ(Crc16(FromHex("01")), 0x1021);
  EXPECT_EQ(Crc16(FromHex("80")), 0x9188);
  EXPECT_EQ(Crc16({}), 0);
  EXPECT_EQ(Crc16(Bytes(128)), 0);
}

class PacketReaderTest : public OnScriptedLine {
 protected:
  SenderEvent Next() { return reader_.Next(line_.Now() + milliseconds(1000)); }

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
  for (const std::uint8_t byte : SmallPacket()) {
    line_.Arrive({byte}).Pause(90);
  }
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

TEST_F(PacketReaderTest, OtherBytesAreEventsOfTheirOwn) {
  const std::map<std::uint8_t, SenderEventKind> kinds = {
      {0x04, SenderEventKind::kEndOfFile}, {0x18, SenderEventKind::kNoise},
      {0x00, SenderEventKind::kNoise},     {0x30, SenderEventKind::kNoise},
      {0x06, SenderEventKind::kNoise},     {0x15, SenderEventKind::kNoise},
      {0x43, SenderEventKind::kNoise},     {0xFF, SenderEventKind::kNoise}};
  for (const auto& [byte, kind] : kinds) {
    line_.Arrive({byte});
    EXPECT_EQ(Next().kind, kind) << static_cast<int>(byte);
  }
}

TEST_F(PacketReaderTest, OnlyTwoCancelsInARowCancel) {
  line_.Arrive(FromHex("18 30 18 18 18"));
  for (const SenderEventKind kind :
       {SenderEventKind::kNoise, SenderEventKind::kNoise, SenderEventKind::kNoise,
        SenderEventKind::kCancel, SenderEventKind::kNoise, SenderEventKind::kNothing}) {
    EXPECT_EQ(Next().kind, kind);
  }
}

TEST_F(PacketReaderTest, NothingUntilTheDeadline) {
  EXPECT_EQ(Next().kind, SenderEventKind::kNothing);
  EXPECT_EQ(line_.NowInMs(), 1000);
}

class PacketZeroTest : public testing::Test {
 protected:
  static PacketZeroJudgement Judge(const Bytes& data, const std::string& identification = "") {
    const BoardPacketZero policy({"TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"}, identification);
    return policy.Judge(data);
  }
  static PacketZeroJudgement JudgeWith(std::size_t offset, std::uint8_t byte) {
    Bytes data = PacketZeroData("70000");
    data[offset] = byte;
    return Judge(data);
  }
  static Bytes Identified(std::string_view text) {
    return Padded(Padded(FromText("70000"), 17, 0) + FromText(text), 128, 0);
  }
};

TEST_F(PacketZeroTest, OwnNamesAreAcceptedWithTheLength) {
  EXPECT_EQ(Judge(PacketZeroData("70000")).length, 70000U);
  EXPECT_EQ(Judge(PacketZeroData("0")).length, 0U);
  EXPECT_EQ(Judge(PacketZeroData("4294967295")).length, 4294967295U);
}

TEST_F(PacketZeroTest, EachNameMustBeTheBoardsOwn) {
  EXPECT_EQ(JudgeWith(23, '2').objection, "board 'TRK4_R2' is not 'TRK4_R1'");
  EXPECT_EQ(JudgeWith(49, 'X').objection,
            "application 'XRK4-R1-APPLICATION' is not 'TRK4-R1-APPLICATION'");
  EXPECT_EQ(JudgeWith(87, '1').objection, "version 'VER 1.1' is not 'VER 1.0'");
  for (const std::size_t offset : {23U, 49U, 87U}) {
    EXPECT_FALSE(JudgeWith(offset, 'Z').length);
  }
}

TEST_F(PacketZeroTest, NameMustNotGoOnOrEndEarly) {
  EXPECT_EQ(JudgeWith(24, '0').objection, "board 'TRK4_R10' is not 'TRK4_R1'");
  EXPECT_EQ(JudgeWith(23, 0).objection, "board 'TRK4_R' is not 'TRK4_R1'");
}

TEST_F(PacketZeroTest, FillerMustBeZeroEverywhere) {
  for (const std::size_t offset : {15U, 16U, 25U, 48U, 80U, 112U, 113U, 127U}) {
    EXPECT_FALSE(JudgeWith(offset, 0xEE).length) << offset;
  }
}

TEST_F(PacketZeroTest, LengthMustBePlainDecimalDigits) {
  for (const std::string_view length : {"", "-1", "+1", " 1", "1 ", "0x10", "007", "12345678901"}) {
    EXPECT_EQ(Judge(PacketZeroData(length)).objection, "no sound length") << length;
  }
}

TEST_F(PacketZeroTest, DataMustBe128Bytes) {
  EXPECT_EQ(Judge(Padded(PacketZeroData("1"), 1024, 0)).objection, "not 128 bytes of data");
}

TEST_F(PacketZeroTest, ClosingPacketIs128Zeros) {
  const BoardPacketZero policy({"TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"}, "");
  EXPECT_TRUE(policy.IsClosing(Bytes(128)));
  EXPECT_FALSE(policy.IsClosing(Bytes(1024)));
  for (const std::size_t offset : {0U, 64U, 127U}) {
    Bytes data(128);
    data[offset] = 1;
    EXPECT_FALSE(policy.IsClosing(data)) << offset;
  }
}

TEST_F(PacketZeroTest, OwnIdentificationIsAcceptedBesideTheNames) {
  EXPECT_EQ(Judge(Identified("A|B|C|"), "A|B|C|").length, 70000U);
  EXPECT_EQ(Judge(PacketZeroData("5"), "A|B|C|").length, 5U);
}

TEST_F(PacketZeroTest, OtherIdentificationIsRefused) {
  EXPECT_FALSE(Judge(Identified("A|B|C|")).length);
  EXPECT_FALSE(Judge(Identified("")).length);
  for (const std::string_view other : {"A|B|D|", "A|B|C", "A|B|C|D"}) {
    EXPECT_FALSE(Judge(Identified(other), "A|B|C|").length) << other;
  }
  Bytes late_byte = Identified("A|B|C|");
  late_byte.back() = 1;
  EXPECT_FALSE(Judge(late_byte, "A|B|C|").length);
}

TEST_F(PacketZeroTest, LongIdentificationCarriesABlankAfterEach31Characters) {
  const std::string own = "0123456789012345678901234567890123456789|B|C|";
  const std::string_view on_line = "0123456789012345678901234567890 123456789|B|C|";
  const std::string_view other = "0123456789012345678901234567890_123456789|B|C|";
  EXPECT_EQ(Judge(Identified(on_line), own).length, 70000U);
  EXPECT_FALSE(Judge(Identified(own), own).length);
  EXPECT_FALSE(Judge(Identified(other), own).length);
}

}  // namespace
}  // namespace kvo::boardsimulator
