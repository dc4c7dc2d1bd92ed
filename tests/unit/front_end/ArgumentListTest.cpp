#include "front_end/Arguments.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace kvo::bootloadertms {
namespace {

ArgumentList ListOf(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "the-program");
  return {static_cast<int>(arguments.size()), arguments.data()};
}

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

TEST(ArgumentListTest, ValueIsTheElementBehindTheFirstMatch) {
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

}  // namespace
}  // namespace kvo::bootloadertms
