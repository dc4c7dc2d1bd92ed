#include "support/StandInTools.h"

#include <gtest/gtest.h>

#include "support/RunningProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

TEST(StandInToolsTest, AreFoundFirstPrintTheirTextsAndNoteTheirCalls) {
  StandInTools tools;
  tools.LsofPrints("held\n");
  RunningProgram shell({"sh", "-c", "lsof /dev/x; ps -aux"}, tools.Environment());
  EXPECT_EQ(shell.Wait(), 0);
  EXPECT_EQ(shell.Output(), "held\n");
  EXPECT_EQ(tools.Calls(), "lsof /dev/x\nps -aux\n");
}

TEST(StandInToolsTest, PathOfThisProcessIsGivenBack) {
  const std::string former = CurrentPath();
  {
    const PathOfThisProcess path("/somewhere");
    EXPECT_EQ(CurrentPath(), "/somewhere");
  }
  EXPECT_EQ(CurrentPath(), former);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
