#include "front_end/Arguments.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/RuntimeErrorOf.h"

namespace kvo::bootloadertms {
namespace {

using testing::RuntimeErrorOf;

template <typename Value>
using Rows = std::vector<std::pair<const char*, Value>>;

ArgumentList ListOf(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "the-program");
  return {static_cast<int>(arguments.size()), arguments.data()};
}

std::uint32_t CodeOf(const char* text) {
  return ParseCommandCode(ListOf({"/dev/ttyX", "115200", "--command", text}));
}

std::uint8_t ByteOf(const char* text) {
  return ParseByteToSend(ListOf({"/dev/ttyX", "115200", "--send", text}));
}

std::uint32_t RateOf(const char* text) { return ParseBaudRate(ListOf({"/dev/ttyX", text})); }

TEST(ArgumentListTest, HoldsTheArgumentsWithoutTheProgramsName) {
  const ArgumentList list = ListOf({"/dev/ttyX", "115200", "fw_tv.bin", ""});
  EXPECT_EQ(list.At(0), "/dev/ttyX");
  EXPECT_EQ(list.At(1), "115200");
  EXPECT_EQ(list.At(2), "fw_tv.bin");
  EXPECT_EQ(list.At(3), "");
  EXPECT_THROW(list.At(4), std::out_of_range);
  EXPECT_FALSE(list.HasOption("the-program"));
}

TEST(ArgumentListTest, FindsAnOptionWhereverItStands) {
  EXPECT_TRUE(ListOf({"--verbose", "b", "c", "d"}).HasOption("--verbose"));
  EXPECT_TRUE(ListOf({"a", "b", "--verbose", "d"}).HasOption("--verbose"));
  EXPECT_TRUE(ListOf({"a", "b", "c", "--verbose"}).HasOption("--verbose"));
}

TEST(ArgumentListTest, ComparesWholeTextsByteForByte) {
  const ArgumentList list =
      ListOf({"--Verbose", "--verbose1", "--verbos", " --verbose", "-verbose"});
  EXPECT_FALSE(list.HasOption("--verbose"));
  EXPECT_EQ(list.GetOption("--verbose"), "");
}

TEST(ArgumentListTest, ValueIsTheElementAfterTheFirstMatch) {
  const ArgumentList list = ListOf({"a", "--send", "41", "--send", "42"});
  EXPECT_EQ(list.GetOption("--send"), "41");
  EXPECT_EQ(ListOf({"--send", "--send", "41"}).GetOption("--send"), "--send");
}

TEST(ArgumentListTest, AMissingValueIsOneSharedEmptyText) {
  const ArgumentList list = ListOf({"a", "b", "c", "--command"});
  EXPECT_EQ(list.GetOption("--command"), "");
  EXPECT_EQ(list.GetOption("--send"), "");
  EXPECT_EQ(&list.GetOption("--command"), &list.GetOption("--send"));
}

TEST(ArgumentListTest, MayBeEmpty) {
  EXPECT_FALSE(ListOf({}).HasOption("--verbose"));
  EXPECT_EQ(ListOf({}).GetOption("--verbose"), "");
}

TEST(CommandCodeTest, IsTheHexadecimalNumberThatTheTextBeginsWith) {
  const Rows<std::uint32_t> rows = {
      {"0x51", 0x51}, {"0X51", 0x51},  {"51", 0x51},       {"30", 0x30},   {"4b", 0x4B},
      {"4B", 0x4B},   {"+51", 0x51},   {"-1", 0xFFFFFFFF}, {"51zz", 0x51}, {" \t\n51", 0x51},
      {"0x4K", 0x04}, {"51 30", 0x51}, {"0x200", 0x200}};
  for (const auto& [text, code] : rows) {
    EXPECT_EQ(CodeOf(text), code) << text;
  }
}

TEST(CommandCodeTest, AnEmptyOrMissingTextIsAnError) {
  EXPECT_EQ(RuntimeErrorOf([] { CodeOf(""); }), "No command specified. Exiting");
  EXPECT_EQ(RuntimeErrorOf([] {
              ParseCommandCode(ListOf({"x", "--command"}));
            }),
            "No command specified. Exiting");
}

TEST(CommandCodeTest, ATextThatIsNoNumberIsAnErrorThatNamesIt) {
  for (const std::string text : {"zz", " ", "--verbose", "x51"}) {
    EXPECT_EQ(RuntimeErrorOf([&] { CodeOf(text.c_str()); }), "Invalid command : " + text);
  }
}

TEST(ByteToSendTest, IsTheLowByteOfAHexadecimalNumber) {
  const Rows<int> rows = {{"41", 0x41}, {"141", 0x41}, {"0x1FF", 0xFF},
                          {"-1", 0xFF}, {"0", 0x00},   {"A", 0x0A}};
  for (const auto& [text, byte] : rows) {
    EXPECT_EQ(ByteOf(text), byte) << text;
  }
}

TEST(ByteToSendTest, HasErrorsOfItsOwn) {
  EXPECT_EQ(RuntimeErrorOf([] { ByteOf(""); }), "No command specified to send. Exiting");
  EXPECT_EQ(RuntimeErrorOf([] {
              ParseByteToSend(ListOf({"x", "--send"}));
            }),
            "No command specified to send. Exiting");
  EXPECT_EQ(RuntimeErrorOf([] { ByteOf("zz"); }), "Invalid command to send : zz");
}

TEST(BaudRateTest, IsTheDecimalNumberThatTheTextBeginsWithCutTo32Bits) {
  const Rows<std::uint32_t> rows = {{"1000000", 1000000},
                                    {"1000000x", 1000000},
                                    {"  9600", 9600},
                                    {"\t\n9600", 9600},
                                    {"+9600", 9600},
                                    {"0x9600", 0},
                                    {"fast", 0},
                                    {"", 0},
                                    {"-1", 4294967295},
                                    {"4294976896", 9600},
                                    {"9223372036854775808", 4294967295},
                                    {"-9223372036854775809", 0}};
  for (const auto& [text, rate] : rows) {
    EXPECT_EQ(RateOf(text), rate) << text;
  }
}

}  // namespace
}  // namespace kvo::bootloadertms
