#include "simulator/PacketZero.h"

#include <gtest/gtest.h>

#include "unit/simulator/Bytes.h"

namespace kvo::boardsimulator {
namespace {

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
  for (const std::size_t offset : {23U, 49U, 87U}) EXPECT_FALSE(JudgeWith(offset, 'Z').length);
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

TEST_F(PacketZeroTest, IdentificationIsRefusedUnlessAskedFor) {
  EXPECT_FALSE(Judge(Identified("A|B|C|")).length);
}

TEST_F(PacketZeroTest, OwnIdentificationIsAccepted) {
  EXPECT_EQ(Judge(Identified("A|B|C|"), "A|B|C|").length, 70000U);
}

TEST_F(PacketZeroTest, LongIdentificationCarriesABlankAfterEach31Characters) {
  const std::string own = "0123456789012345678901234567890123456789|B|C|";
  const std::string_view on_line = "0123456789012345678901234567890 123456789|B|C|";
  EXPECT_EQ(Judge(Identified(on_line), own).length, 70000U);
  EXPECT_FALSE(Judge(Identified(own), own).length);
}

TEST_F(PacketZeroTest, OtherIdentificationIsRefused) {
  EXPECT_FALSE(Judge(Identified("A|B|D|"), "A|B|C|").length);
  EXPECT_FALSE(Judge(Identified("A|B|C"), "A|B|C|").length);
  EXPECT_FALSE(Judge(Identified("A|B|C|D"), "A|B|C|").length);
}

TEST_F(PacketZeroTest, NamesStayAcceptedNextToAnIdentification) {
  EXPECT_EQ(Judge(PacketZeroData("5"), "A|B|C|").length, 5U);
}

}  // namespace
}  // namespace kvo::boardsimulator
