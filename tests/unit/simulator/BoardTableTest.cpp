#include "simulator/BoardTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kvo::boardsimulator {
namespace {

std::string Names(std::string_view key) {
  const auto names = FindBoard(key);
  return names ? names->board + "|" + names->application + "|" + names->version : "none";
}

TEST(BoardTableTest, NamesOfEachKey) {
  EXPECT_EQ(Names("dk"), "QDL-R2|CORE-TAVI-WHEEL-ENGINE|VER 1.0");
  EXPECT_EQ(Names("dr"), "QDL-R2|CORE-TAVI-ROLL-ENGINE|VER 1.0");
  EXPECT_EQ(Names("pu"), "PROBEX-KLM3|PROBEX-APPLICATION-UPPER|VER 1.0");
  EXPECT_EQ(Names("pa"), "PROBEX-KLM3|PROBEX-APPLICATION-BASE|VER 1.0");
  EXPECT_EQ(Names("wk"), "PWRPK-KLM2|PWR-APPLICATION|VER 1.0");
  EXPECT_EQ(Names("tv"), "TRK4_R1|TRK4-R1-APPLICATION|VER 1.0");
  EXPECT_EQ(Names("tw"), "TRK4_R1|TRK4-R1-APPLICATION|VER 1.0");
}

TEST(BoardTableTest, OtherKeysHaveNoBoard) {
  for (const std::string_view key : {"", "d", "dkx", "TV", "xx"}) EXPECT_EQ(Names(key), "none");
}

TEST(BoardTableTest, AllKeysAreListed) {
  EXPECT_THAT(BoardKeys(), testing::ElementsAre("dk", "dr", "pu", "pa", "wk", "tv", "tw"));
}

}  // namespace
}  // namespace kvo::boardsimulator
