#include "simulator/AskAgain.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace kvo::boardsimulator {
namespace {

std::string ComplaintAbout(std::string_view text) {
  try {
    ParseAskAgain(text);
  } catch (const std::invalid_argument& complaint) {
    return complaint.what();
  }
  return "none";
}

TEST(AskAgainTest, WordRequestAndTimesAreRead) {
  const AskAgain again = ParseAskAgain(R"(I \x40 can@bootloader:0x73/17)");
  EXPECT_EQ(again.word, "I @ can");
  EXPECT_EQ(again.request.asked, BoardState::kBootloader);
  EXPECT_EQ(again.request.code, 's');
  EXPECT_EQ(again.times, 17U);
  EXPECT_EQ(again.text, R"(I \x40 can@bootloader:0x73/17)");
}

TEST(AskAgainTest, ComesOnceUnlessToldOtherwise) {
  EXPECT_EQ(ParseAskAgain("can@s").times, 1U);
  EXPECT_EQ(ParseAskAgain("can@s/always").times, std::nullopt);
}

TEST(AskAgainTest, MistakesAreTold) {
  const std::string expected = "': expected WORD@[application:|bootloader:]CODE[/TIMES]";
  for (const std::string text : {"", "can", "@s"}) {
    EXPECT_EQ(ComplaintAbout(text), "'" + text + expected);
  }
  const std::string no_code =
      "' is no code, expected one printable character or 0xHH, with 'application:' or "
      "'bootloader:' before it or neither";
  EXPECT_EQ(ComplaintAbout("can@"), "'can@': '" + no_code);
  EXPECT_EQ(ComplaintAbout("can@sh"), "'can@sh': 'sh" + no_code);
  EXPECT_EQ(ComplaintAbout("can@s/0"),
            "'can@s/0': if not 'always', what follows '/' must be a number from 1 to 4294967295");
  EXPECT_EQ(ComplaintAbout("can@s/1/2"),
            "'can@s/1/2': if not 'always', what follows '/' must be a number from 1 to 4294967295");
  EXPECT_EQ(ComplaintAbout(R"(\q@s)"),
            R"('\q@s': unknown escape '\q', there are: \r \n \0 \\ \xHH)");
}

class AskAgainPlanTest : public testing::Test {
 protected:
  std::string Take(AskAgainPlan& plan, BoardState runs, char code) {
    const auto again = plan.Take(runs, static_cast<std::uint8_t>(code));
    return again ? again->word : "the right answer";
  }
  std::string Take(AskAgainPlan& plan, char code) {
    return Take(plan, BoardState::kApplication, code);
  }
};

TEST_F(AskAgainPlanTest, WordsOfOneRequestFollowEachOther) {
  AskAgainPlan plan({ParseAskAgain("can@s/2"), ParseAskAgain("Can@h"), ParseAskAgain("CAN@s")});
  EXPECT_EQ(Take(plan, 's'), "can");
  EXPECT_EQ(Take(plan, 'h'), "Can");
  EXPECT_EQ(Take(plan, 's'), "can");
  EXPECT_EQ(Take(plan, 's'), "CAN");
  EXPECT_EQ(Take(plan, 's'), "the right answer");
  EXPECT_EQ(Take(plan, 'h'), "the right answer");
}

TEST_F(AskAgainPlanTest, AlwaysDoesNotEnd) {
  AskAgainPlan plan({ParseAskAgain("can@s/always")});
  for (int time = 0; time < 1000; ++time) ASSERT_EQ(Take(plan, 's'), "can");
}

TEST_F(AskAgainPlanTest, WordForOneSideIsNotForTheOther) {
  AskAgainPlan plan({ParseAskAgain("can@bootloader:s")});
  EXPECT_EQ(Take(plan, BoardState::kApplication, 's'), "the right answer");
  EXPECT_EQ(Take(plan, BoardState::kBootloader, 's'), "can");
}

TEST_F(AskAgainPlanTest, BothSidesCountTogether) {
  AskAgainPlan plan({ParseAskAgain("can@s/2")});
  EXPECT_EQ(Take(plan, BoardState::kApplication, 's'), "can");
  EXPECT_EQ(Take(plan, BoardState::kBootloader, 's'), "can");
  EXPECT_EQ(Take(plan, BoardState::kApplication, 's'), "the right answer");
}

}  // namespace
}  // namespace kvo::boardsimulator
