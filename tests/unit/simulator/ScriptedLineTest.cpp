#include "unit/simulator/ScriptedLine.h"

#include <gtest/gtest.h>

#include <array>

namespace kvo::boardsimulator {
namespace {

TEST(ScriptedLineTest, BytesArriveAtTheirTime) {
  ScriptedLine line;
  line.Pause(50).Arrive(FromHex("01 02 03"));
  std::array<std::uint8_t, 8> into{};
  EXPECT_EQ(line.Read(into, AtMs(49)), 0U);
  EXPECT_EQ(line.NowInMs(), 49);
  EXPECT_EQ(line.Read(into, AtMs(1000)), 3U);
  EXPECT_EQ(line.NowInMs(), 50);
  EXPECT_EQ(into[2], 3);
}

TEST(ScriptedLineTest, OnlyWhatFitsIsRead) {
  ScriptedLine line;
  line.Arrive(FromHex("01 02 03"));
  std::array<std::uint8_t, 2> into{};
  EXPECT_EQ(line.Read(into, kNever), 2U);
  EXPECT_EQ(line.Read(into, kNever), 1U);
  EXPECT_EQ(into[0], 3);
}

TEST(ScriptedLineTest, WaitingIndefinitelyAfterTheScriptEndsTheServing) {
  ScriptedLine line;
  std::array<std::uint8_t, 2> into{};
  EXPECT_EQ(line.Read(into, AtMs(5)), 0U);
  EXPECT_THROW(line.Read(into, kNever), ServingEnded);
}

TEST(ScriptedLineTest, HostHasDepartedOnceItsTimeIsThere) {
  ScriptedLine line;
  line.Pause(5).Depart();
  line.WaitUntil(AtMs(4));
  EXPECT_EQ(line.Departures(), 0U);
  line.WaitUntil(AtMs(5));
  EXPECT_EQ(line.Departures(), 1U);
}

TEST(ScriptedLineTest, KeepsWhatIsWrittenWithItsTime) {
  ScriptedLine line;
  line.Write(FromHex("41"));
  line.WaitUntil(AtMs(7));
  line.Write(FromHex("42 43"));
  EXPECT_EQ(line.SentHex(), "41 42 43");
  EXPECT_EQ(line.Pieces(), (std::vector<std::string>{"A", "BC"}));
  EXPECT_EQ(line.Times(), (std::vector<std::int64_t>{0, 7}));
}

}  // namespace
}  // namespace kvo::boardsimulator
