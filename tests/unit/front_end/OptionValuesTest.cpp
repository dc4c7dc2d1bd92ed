#include "front_end/Arguments.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "support/RuntimeErrorOf.h"

namespace kvo::bootloadertms {
namespace {

using testing::RuntimeErrorOf;

ArgumentList ListOf(const char* third, const char* fourth) {
  const std::array<const char*, 5> arguments = {"the-program", "/dev/ttyX", "115200", third,
                                                fourth};
  return {5, arguments.data()};
}

std::uint32_t CodeOf(const char* text) { return ParseCommandCode(ListOf("--command", text)); }

std::uint8_t ByteOf(const char* text) { return ParseByteToSend(ListOf("--send", text)); }

std::uint32_t RateOf(const char* text) {
  const std::array<const char*, 3> arguments = {"the-program", "/dev/ttyX", text};
  return ParseBaudRate({3, arguments.data()});
}

TEST(CommandCodeTest, IsAlwaysHexadecimal) {
  EXPECT_EQ(CodeOf("0x51"), 0x51U);
  EXPECT_EQ(CodeOf("0X51"), 0x51U);
  EXPECT_EQ(CodeOf("51"), 0x51U);
  EXPECT_EQ(CodeOf("30"), 0x30U);
  EXPECT_EQ(CodeOf("4b"), 0x4BU);
  EXPECT_EQ(CodeOf("4B"), 0x4BU);
  EXPECT_EQ(CodeOf("0x200"), 0x200U);
}

TEST(CommandCodeTest, WhiteSpaceBeforeAndAnythingBehindIsIgnored) {
  EXPECT_EQ(CodeOf(" \t\n51"), 0x51U);
  EXPECT_EQ(CodeOf("51zz"), 0x51U);
  EXPECT_EQ(CodeOf("51 30"), 0x51U);
  EXPECT_EQ(CodeOf("0x4K"), 0x4U);
}

TEST(CommandCodeTest, MayHaveASign) {
  EXPECT_EQ(CodeOf("-1"), 0xFFFFFFFFU);
  EXPECT_EQ(CodeOf("+51"), 0x51U);
}

TEST(CommandCodeTest, AnEmptyOrMissingTextIsAnError) {
  EXPECT_EQ(RuntimeErrorOf([] { CodeOf(""); }), "No command specified. Exiting");
  EXPECT_EQ(RuntimeErrorOf([] { ParseCommandCode(ListOf("x", "--command")); }),
            "No command specified. Exiting");
}

TEST(CommandCodeTest, ATextThatIsNoNumberIsAnErrorThatNamesIt) {
  EXPECT_EQ(RuntimeErrorOf([] { CodeOf("zz"); }), "Invalid command : zz");
  EXPECT_EQ(RuntimeErrorOf([] { CodeOf(" "); }), "Invalid command :  ");
  EXPECT_EQ(RuntimeErrorOf([] { CodeOf("--verbose"); }), "Invalid command : --verbose");
  EXPECT_EQ(RuntimeErrorOf([] { CodeOf("x51"); }), "Invalid command : x51");
}

TEST(ByteToSendTest, IsTheLowByteOfAHexadecimalNumber) {
  EXPECT_EQ(ByteOf("41"), 0x41);
  EXPECT_EQ(ByteOf("141"), 0x41);
  EXPECT_EQ(ByteOf("0x1FF"), 0xFF);
  EXPECT_EQ(ByteOf("-1"), 0xFF);
  EXPECT_EQ(ByteOf("0"), 0x00);
  EXPECT_EQ(ByteOf("A"), 0x0A);
}

TEST(ByteToSendTest, HasErrorsOfItsOwn) {
  EXPECT_EQ(RuntimeErrorOf([] { ByteOf(""); }), "No command specified to send. Exiting");
  EXPECT_EQ(RuntimeErrorOf([] { ParseByteToSend(ListOf("x", "--send")); }),
            "No command specified to send. Exiting");
  EXPECT_EQ(RuntimeErrorOf([] { ByteOf("zz"); }), "Invalid command to send : zz");
}

TEST(BaudRateTest, IsTheNumberThatTheArgumentBeginsWith) {
  EXPECT_EQ(RateOf("1000000"), 1000000U);
  EXPECT_EQ(RateOf("1000000x"), 1000000U);
  EXPECT_EQ(RateOf("  9600"), 9600U);
  EXPECT_EQ(RateOf("\t\n9600"), 9600U);
  EXPECT_EQ(RateOf("+9600"), 9600U);
  EXPECT_EQ(RateOf("0x9600"), 0U);
  EXPECT_EQ(RateOf("fast"), 0U);
  EXPECT_EQ(RateOf(""), 0U);
}

TEST(BaudRateTest, IsCutTo32Bits) {
  EXPECT_EQ(RateOf("-1"), 4294967295U);
  EXPECT_EQ(RateOf("4294976896"), 9600U);
  EXPECT_EQ(RateOf("9223372036854775808"), 4294967295U);
  EXPECT_EQ(RateOf("-9223372036854775809"), 0U);
}

}  // namespace
}  // namespace kvo::bootloadertms
