#include "transfer/PacketZero.h"

#include <gtest/gtest.h>

#include "client/AppInfos.h"
#include "support/RuntimeErrorOf.h"

namespace kvo::bootloadertms {
namespace {

using testing::RuntimeErrorOf;
using namespace std::string_literals;

std::string TextOf(const PacketZeroData& data) { return {data.begin(), data.end()}; }

std::string Zeros(std::size_t count) { return std::string(count, '\0'); }

constexpr const char* kTooLong = "Exceed size limit detected. Exiting";

TEST(PacketZeroTest, NamesStandInFieldsOf32Bytes) {
  const PacketZeroData data = BuildPacketZero(262144, BoardDefinition("fw_tv.bin"s));
  EXPECT_EQ(TextOf(data), "262144" + Zeros(11) +                   // to offset 17
                              "TRK4_R1" + Zeros(25) +              // to offset 49
                              "TRK4-R1-APPLICATION" + Zeros(13) +  // to offset 81
                              "VER 1.0" + Zeros(25) + Zeros(15));  // to the end
}

TEST(PacketZeroTest, TheLengthHasNeitherSignNorLeadingZeros) {
  const BoardDefinition board(BoardKind{1});
  EXPECT_EQ(TextOf(BuildPacketZero(0, board)).substr(0, 17), "0" + Zeros(16));
  EXPECT_EQ(TextOf(BuildPacketZero(1024, board)).substr(0, 17), "1024" + Zeros(13));
  EXPECT_EQ(TextOf(BuildPacketZero(4294967295U, board)).substr(0, 17), "4294967295" + Zeros(7));
}

TEST(PacketZeroTest, ANameIsCutTo31Characters) {
  PacketZero packet(1);
  packet.AppendName(std::string(31, 'a'));
  packet.AppendName(std::string(32, 'b'));
  packet.AppendName(std::string(100, 'c'));
  EXPECT_EQ(TextOf(packet.GetData()), "1" + Zeros(16) + std::string(31, 'a') + Zeros(1) +
                                          std::string(31, 'b') + Zeros(1) + std::string(31, 'c') +
                                          Zeros(16));
}

TEST(PacketZeroTest, AFourthNameDoesNotFit) {
  PacketZero packet(1);
  packet.AppendName("a");
  packet.AppendName("b");
  packet.AppendName("c");
  const PacketZeroData before = packet.GetData();
  EXPECT_EQ(RuntimeErrorOf([&packet] { packet.AppendName("d"); }), kTooLong);
  EXPECT_EQ(packet.GetData(), before);
}

TEST(PacketZeroTest, ANameMayStartBelowOffset96Only) {
  PacketZero at_95(1);
  at_95.AppendText(std::string(78, 'x'));
  at_95.AppendName("fits");
  EXPECT_EQ(TextOf(at_95.GetData()).substr(95, 5), "fits\0"s);

  PacketZero at_96(1);
  at_96.AppendText(std::string(79, 'x'));
  EXPECT_EQ(RuntimeErrorOf([&at_96] { at_96.AppendName("does not"); }), kTooLong);
}

TEST(PacketZeroTest, ARecordIsThreeTextsWithABarAfterEach) {
  EXPECT_EQ(TextOf(BuildPacketZero(5, AppInfos("A", "B", "C"))),
            "5" + Zeros(16) + "A|B|C|" + Zeros(105));
  EXPECT_EQ(TextOf(BuildPacketZero(5, AppInfos("", "", ""))), "5" + Zeros(16) + "|||" + Zeros(108));
}

TEST(PacketZeroTest, ARecordIsBrokenByABlankAfterEach31Characters) {
  // 31 characters joined: no blank. 32: one. 40: 31, a blank, 9.
  EXPECT_EQ(TextOf(BuildPacketZero(5, AppInfos(std::string(28, 'a'), "", ""))),
            "5" + Zeros(16) + std::string(28, 'a') + "|||" + Zeros(80));
  EXPECT_EQ(TextOf(BuildPacketZero(5, AppInfos(std::string(29, 'a'), "", ""))),
            "5" + Zeros(16) + std::string(29, 'a') + "|| |" + Zeros(78));
  EXPECT_EQ(TextOf(BuildPacketZero(5, AppInfos(std::string(30, 'a'), "bbbbbbb", ""))),
            "5" + Zeros(16) + std::string(30, 'a') + "| bbbbbbb||" + Zeros(70));
}

TEST(PacketZeroTest, ARecordMayTake110Bytes) {
  // 107 characters and 3 blanks are 110 bytes; one character more is too much.
  const std::string fits = TextOf(BuildPacketZero(5, AppInfos(std::string(104, 'a'), "", "")));
  EXPECT_EQ(fits, "5" + Zeros(16) + std::string(31, 'a') + " " + std::string(31, 'a') + " " +
                      std::string(31, 'a') + " " + std::string(11, 'a') + "|||" + Zeros(1));
  EXPECT_EQ(RuntimeErrorOf([] { BuildPacketZero(5, AppInfos(std::string(105, 'a'), "", "")); }),
            kTooLong);
  EXPECT_EQ(RuntimeErrorOf([] { BuildPacketZero(5, AppInfos(std::string(5000, 'a'), "", "")); }),
            kTooLong);
}

}  // namespace
}  // namespace kvo::bootloadertms
