#include "front_end/Utility.h"

#include <gtest/gtest.h>

#include <array>
#include <iostream>
#include <locale>
#include <string>

#include "support/CapturedStream.h"
#include "support/UsageLiteral.h"

namespace kvo::bootloadertms {
namespace {

using testing::CapturedStream;
using testing::kUsage;

TEST(UsageTest, TextIsExact) { EXPECT_EQ(UsageText(), kUsage); }

// A locale that groups the digits of numbers, each for itself.
class GroupedDigits : public std::numpunct<char> {
  std::string do_grouping() const override { return "\1"; }
};

TEST(UsageTest, TextIsTheSameInAnyLocale) {
  const std::locale former =
      std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
  const std::string text = UsageText();
  std::locale::global(former);
  EXPECT_EQ(text, kUsage);
}

TEST(UsageTest, FewerThanFourArgumentsGetItOnStandardErrorAndStatus1) {
  const std::array<const char*, 4> arguments = {"another-name", "/dev/ttyX", "115200", "fw_tv.bin"};
  for (int argc = 0; argc <= 4; ++argc) {
    const CapturedStream out(std::cout);
    const CapturedStream err(std::cerr);
    EXPECT_EQ(RunUtility(argc, arguments.data()), 1) << argc;
    EXPECT_EQ(err.Text(), kUsage) << argc;
    EXPECT_EQ(out.Text(), "") << argc;
  }
}

}  // namespace
}  // namespace kvo::bootloadertms
