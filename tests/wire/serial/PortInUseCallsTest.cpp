#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "serial/PortInUse.h"
#include "support/RecordedSystemCalls.h"
#include "support/StandInTools.h"

namespace kvo::bootloadertms {
namespace {

using testing::PathOfThisProcess;
using testing::RecordedSystemCalls;
using testing::StandInTools;

TEST(PortInUseCallsTest, TheTwoCommandLinesAreTheseAndNoOthers) {
  const StandInTools tools;
  const PathOfThisProcess path(tools.Environment().at("PATH"));
  const RecordedSystemCalls calls;
  EXPECT_FALSE(IsPortInUse("/dev/ttyX"));
  EXPECT_EQ(calls.Texts(), (std::vector<std::string>{R"(popen("lsof /dev/ttyX", "r"))",
                                                     R"(popen("ps -aux | grep [m]inicom", "r"))"}));
}

TEST(PortInUseCallsTest, AHeldDeviceNeedsNoSecondCommandLine) {
  StandInTools tools;
  tools.LsofPrints("cat 1\n");
  const PathOfThisProcess path(tools.Environment().at("PATH"));
  const RecordedSystemCalls calls;
  EXPECT_TRUE(IsPortInUse("/dev/ttyX"));
  EXPECT_EQ(calls.Texts(), std::vector<std::string>{R"(popen("lsof /dev/ttyX", "r"))"});
}

}  // namespace
}  // namespace kvo::bootloadertms
