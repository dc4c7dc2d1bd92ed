#include "simulator/Request.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace kvo::boardsimulator {
namespace {

TEST(RequestTest, CodeIsOnePrintableCharacter) {
  for (const std::string text : {"s", " ", "~", "0", "=", ":"}) {
    EXPECT_EQ(ParseRequest(text).code, text.front());
    EXPECT_EQ(ParseRequest(text).asked, std::nullopt);
  }
}

TEST(RequestTest, CodeMayBeGivenInHexadecimal) {
  EXPECT_EQ(ParseRequest("0x41").code, 0x41);
  EXPECT_EQ(ParseRequest("0xfE").code, 0xFE);
  EXPECT_EQ(ParseRequest("0x00").code, 0x00);
}

TEST(RequestTest, PrefixTellsWhoIsAsked) {
  EXPECT_EQ(ParseRequest("application:s").asked, BoardState::kApplication);
  EXPECT_EQ(ParseRequest("bootloader:0x73").asked, BoardState::kBootloader);
  EXPECT_EQ(ParseRequest("bootloader:0x73").code, 's');
}

TEST(RequestTest, AnythingElseIsRefused) {
  for (const std::string text : {"", "ab", "0x", "0x1", "0x123", "0xg1", "0X41", "\x7f", "\x1b",
                                 "\xe4", "application:", "bootloader:ab", "board:s"}) {
    EXPECT_THROW(ParseRequest(text), std::invalid_argument) << text;
  }
  try {
    ParseRequest("bootloader:ab");
    FAIL() << "taken";
  } catch (const std::invalid_argument& complaint) {
    EXPECT_STREQ(complaint.what(),
                 "'ab' is no code, expected one printable character or 0xHH, with 'application:' "
                 "or 'bootloader:' before it or neither");
  }
}

TEST(RequestTest, RequestMeansItsCodeAndWhoIsAsked) {
  const Request to_bootloader{BoardState::kBootloader, 's'};
  EXPECT_TRUE(to_bootloader.Matches(BoardState::kBootloader, 's'));
  EXPECT_FALSE(to_bootloader.Matches(BoardState::kApplication, 's'));
  EXPECT_FALSE(to_bootloader.Matches(BoardState::kBootloader, 'h'));
  const Request to_both{std::nullopt, 's'};
  EXPECT_TRUE(to_both.Matches(BoardState::kBootloader, 's'));
  EXPECT_TRUE(to_both.Matches(BoardState::kApplication, 's'));
  EXPECT_FALSE(to_both.Matches(BoardState::kApplication, 'h'));
}

TEST(RequestTest, CodesHaveNamesToRead) {
  EXPECT_EQ(NameOfCode('z'), "'z'");
  EXPECT_EQ(NameOfCode(' '), "' '");
  EXPECT_EQ(NameOfCode(0x18), "0x18");
  EXPECT_EQ(NameOfCode(0x7F), "0x7f");
  EXPECT_EQ(NameOfCode(0xE4), "0xe4");
}

}  // namespace
}  // namespace kvo::boardsimulator
