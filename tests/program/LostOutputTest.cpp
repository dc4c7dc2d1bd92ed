// An upload whose own output is closed, full or no longer read: only the board decides the result.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "program/Programs.h"

namespace kvo::bootloadertms::testing {
namespace {

struct OutputRow {
  const char* name;
  const char* script;  // of bash; "$@" is the utility and its arguments
};

void PrintTo(const OutputRow& row, std::ostream* out) { *out << row.name; }

class LostOutput : public ::testing::TestWithParam<OutputRow> {
 protected:
  int RunInShell(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {"bash", "-c", GetParam().script, "bash", KVO_UTILITY};
    command.insert(command.end(), arguments.begin(), arguments.end());
    RunningProgram utility(command, tools_.Environment());
    return utility.Wait();
  }

  StandInTools tools_;
  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", std::string(20000, 'i'));
};

TEST_P(LostOutput, LeavesTheBoardWithItsImage) {
  SimulatedBoard board({"--board", "tv"});
  EXPECT_EQ(RunInShell({board.Path(), "1000000", image_, "--active_bootloader",
                        "--active_application", "--verbose"}),
            0);
  EXPECT_TRUE(board.Flash() == ReadFile(image_)) << "the board holds another image";
  const std::string trace = board.Trace();
  EXPECT_NE(trace.find("# application started"), std::string::npos) << trace;
  EXPECT_EQ(trace.find("Entering boot"), std::string::npos) << "texts went to the board";
}

TEST_P(LostOutput, StillTellsAFailureByTheExitStatus) {
  tools_.LsofPrints("somebody\n");
  SimulatedBoard board({"--board", "tv", "--state", "bootloader", "--fault", "can@block:7"});
  EXPECT_EQ(RunInShell({board.Path(), "1000000", image_, "--verbose"}), 1);
  EXPECT_FALSE(board.HasFlash());
}

INSTANTIATE_TEST_SUITE_P(
    LostOutputTest, LostOutput,
    ::testing::Values(OutputRow{"ClosedOutput", R"("$@" >&-)"},
                      OutputRow{"ClosedOutputAndErrorOutput", R"("$@" >&- 2>&-)"},
                      OutputRow{"AllStandardStreamsClosed", R"("$@" <&- >&- 2>&-)"},
                      OutputRow{"FullOutput", R"("$@" >/dev/full 2>/dev/full)"},
                      OutputRow{"ReaderThatGoesAwayAfterALine",
                                R"("$@" | head -n 1 >/dev/null; exit "${PIPESTATUS[0]}")"},
                      OutputRow{"ReaderThatIsGoneFromTheStart", R"("$@" > >(:); exit $?)"}),
    [](const auto& row) { return std::string(row.param.name); });

// `lsof` tells whether it has outlived the signal of a closed pipe.
class ToolsOfALostOutput : public ::testing::Test {
 protected:
  ToolsOfALostOutput() {
    tools_.WriteScript("bin/lsof", "kill -PIPE $$; echo survived");
    tools_.WriteScript("bin/ps", "");
  }

  // What a run that ends without a port writes to standard error; `command` is what starts it.
  std::string ErrorOutputOf(std::vector<std::string> command) const {
    command.insert(command.end(), {KVO_UTILITY, "/dev/no-such-port", "115200", "x", "x"});
    RunningProgram utility(command, {{"PATH", tools_.Path("bin") + ":" + CurrentPath()}});
    EXPECT_EQ(utility.Wait(), 1);
    return utility.ErrorOutput();
  }

 private:
  TemporaryFolder tools_;
};

TEST_F(ToolsOfALostOutput, StillEndByTheSignalThatTellsThemOfAClosedPipe) {
  EXPECT_EQ(ErrorOutputOf({}), "") << "the port counted as in use";
}

TEST_F(ToolsOfALostOutput, FindThatSignalIgnoredWhereTheUtilityFindsItSo) {
  EXPECT_THAT(ErrorOutputOf({"sh", "-c", "trap '' PIPE; \"$@\"", "sh"}),
              ::testing::HasSubstr("port is already opened"));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
