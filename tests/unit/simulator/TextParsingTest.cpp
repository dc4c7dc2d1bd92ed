#include "simulator/TextParsing.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace kvo::boardsimulator {
namespace {

using namespace std::string_literals;

template <typename Reader>
std::string ComplaintOf(Reader reader) {
  try {
    reader();
  } catch (const std::invalid_argument& complaint) {
    return complaint.what();
  }
  return "none";
}

TEST(TextParsingTest, TextIsSplitAtTheFirstSeparator) {
  EXPECT_EQ(SplitAt('=', "a=b=c").before, "a");
  EXPECT_EQ(SplitAt('=', "a=b=c").after, "b=c");
  EXPECT_EQ(SplitAt('=', "a=").after, "");
  EXPECT_EQ(SplitAt('=', "abc").before, "abc");
  EXPECT_EQ(SplitAt('=', "abc").after, std::nullopt);
}

TEST(TextParsingTest, NumbersArePlainDigitsWithinTheirBounds) {
  EXPECT_EQ(ReadNumber("5", 5, 17), 5U);
  EXPECT_EQ(ReadNumber("17", 5, 17), 17U);
  for (const std::string text :
       {"4", "18", "", "-6", "+6", "6x", " 6", "0x6", "99999999999999999999"}) {
    EXPECT_EQ(ReadNumber(text, 5, 17), std::nullopt) << text;
  }
}

TEST(TextParsingTest, MissingNumberIsToldWithItsBounds) {
  EXPECT_EQ(NeedNumber("7", 5, 17, "the size"), 7U);
  EXPECT_EQ(ComplaintOf([] { NeedNumber("4", 5, 17, "the size"); }),
            "the size must be a number from 5 to 17");
}

TEST(TextParsingTest, TimesAreANumberOrAlways) {
  EXPECT_EQ(ReadTimes("2"), 2U);
  EXPECT_EQ(ReadTimes("always"), std::nullopt);
  EXPECT_EQ(ComplaintOf([] { ReadTimes("0"); }),
            "if not 'always', what follows '/' must be a number from 1 to 4294967295");
}

TEST(TextParsingTest, HexByteHasExactlyTwoDigits) {
  EXPECT_EQ(ReadHexByte("4F"), 0x4F);
  EXPECT_EQ(ReadHexByte("fe"), 0xFE);
  for (const std::string text : {"", "4", "4f0", "4g", "-4", "+4"}) {
    EXPECT_EQ(ReadHexByte(text), std::nullopt) << text;
  }
}

TEST(TextParsingTest, EscapesAreReplaced) {
  EXPECT_EQ(Unescape(R"(a\r\nb\0c\\d\x1be\xFF)"),
            "a\r\nb\0c\\d\x1b"
            "e\xff"s);
  EXPECT_EQ(Unescape("plain ;=@/ text"), "plain ;=@/ text");
  EXPECT_EQ(Unescape(""), "");
}

TEST(TextParsingTest, OtherEscapesAreRefused) {
  EXPECT_EQ(ComplaintOf([] { Unescape(R"(\t)"); }),
            R"(unknown escape '\t', there are: \r \n \0 \\ \xHH)");
  EXPECT_EQ(ComplaintOf([] { Unescape(R"(end\)"); }),
            R"(unknown escape '\', there are: \r \n \0 \\ \xHH)");
  for (const std::string text : {R"(\x)", R"(\x1)", R"(\xg0)"}) {
    EXPECT_EQ(ComplaintOf([&text] { Unescape(text); }),
              R"('\x' needs two hexadecimal digits, as in \x1b)");
  }
}

}  // namespace
}  // namespace kvo::boardsimulator
