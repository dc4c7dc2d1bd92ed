// What a watch shows on the screen of a real terminal emulator, and lets be heard.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "program/Programs.h"
#include "program/boards/Screen.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class WatchScreenTest : public ::testing::Test {
 protected:
  WatchScreenTest() { std::filesystem::create_directory(folder_.Path("ports")); }

  std::unique_ptr<SimulatedBoard> PlugIn(const std::string& port,
                                         const std::vector<std::string>& faults = {}) const {
    std::vector<std::string> options = {"--link", folder_.Path("ports/" + port), "--state",
                                        "bootloader"};
    for (const std::string& fault : faults) {
      options.insert(options.end(), {"--fault", fault});
    }
    return std::make_unique<SimulatedBoard>(options);
  }

  // kvo-boards watching, then its exit status.
  std::string Watch(const std::string& options = "") const {
    return "cd " + folder_.Path("") + "\n" + KVO_BOARDS +
           " watch --no-switch --answer-timeout 25500 " + options +
           " x_tv.bin 'ports/*'\necho status $?\n";
  }

  TemporaryFolder folder_;
  std::string image_path_ = folder_.WriteFile("x_tv.bin", ImageOf(10240));
};

const std::string kFlashed = R"(
     ########  ##          ####      ######  ##    ##  ########  ######
     ##        ##        ##    ##  ##        ##    ##  ##        ##    ##
     ######    ##        ########    ####    ########  ######    ##    ##
     ##        ##        ##    ##        ##  ##    ##  ##        ##    ##
     ##        ########  ##    ##  ######    ##    ##  ########  ######

)";
const std::string kFailed = R"(
           ########    ####    ######  ##        ########  ######
           ##        ##    ##    ##    ##        ##        ##    ##
           ######    ########    ##    ##        ######    ##    ##
           ##        ##    ##    ##    ##        ##        ##    ##
           ##        ##    ##  ######  ########  ########  ######

)";
const std::string kGoodBoard = R"(ports/good +TRK4_R1  flashed in [0-9.]+ s
)";
const std::string kBrokenBoard =
    R"(ports/broken +TRK4_R1  failed: the board ended the transfer at block 3 of 10:
    the board has no valid application, flash it again
)";

TEST_F(WatchScreenTest, ResultsAreLargeUntilTheirPortGoesAndHistoryAfterwards) {
  const Screen screen(80, 30, Watch("--count 3"));
  screen.ExpectToBecome(R"(
Waiting for boards at ports/\*
0 flashed, 0 failed)");
  const auto good = PlugIn("good");
  screen.ExpectToBecome("\n" + kFlashed + kGoodBoard + "1 flashed, 0 failed");
  const auto broken = PlugIn("broken", {"can@block:3"});
  screen.WaitFor("1 flashed, 1 failed");
  const auto slow = PlugIn("slow", {"late=1000@block:5", "late=60000@block:6"});
  const std::string sending = R"(ports/slow +TRK4_R1  .*   50 % .*  sending
1 flashed, 1 failed)";
  screen.ExpectToBecome("\n" + kFlashed + kGoodBoard + kFailed + kBrokenBoard + sending);
  broken->Trace();
  screen.ExpectToBecome(kBrokenBoard + "\n" + kFlashed + kGoodBoard + sending);
  slow->Trace();
  screen.ExpectToBecome(kBrokenBoard + "(" + kGoodBoard + R"(|ports/slow +TRK4_R1  failed: .*
    .*
){2}3 boards: 1 flashed, 2 failed
status 1)");
}

TEST_F(WatchScreenTest, AChangeOfWidthLeavesNoRestOfTheOldLetters) {
  const auto board = PlugIn("board");
  const Screen screen(80, 20, Watch());
  screen.WaitFor("1 flashed");
  screen.SetColumns(40);
  screen.ExpectToBecome(R"(

  #### #     ##   ### #  # #### ###
  #    #    #  # #    #  # #    #  #
  ###  #    ####  ##  #### ###  #  #
  #    #    #  #    # #  # #    #  #
  #    #### #  # ###  #  # #### ###

ports/board  flashed in [0-9.]+ s
1 flashed, 0 failed)");
  screen.SetColumns(80);
  screen.ExpectToBecome("\n" + kFlashed + R"(ports/board  TRK4_R1  flashed in [0-9.]+ s
1 flashed, 0 failed)");
}

TEST_F(WatchScreenTest, TheTerminalsBellRingsOnceForGoodAndThreeTimesForFailed) {
  const Screen screen(80, 24, "cat >/dev/null\n" + Watch("--bell --count 2"));
  screen.RecordTo(folder_.Path("record"));
  screen.Press("C-d");
  const auto good = PlugIn("good");
  const auto broken = PlugIn("broken", {"can@block:3"});
  std::string record;
  EXPECT_TRUE(Becomes([&] {
    record = ReadFile(folder_.Path("record"));
    return record.find("status 1") != std::string::npos;
  }));
  EXPECT_EQ(std::ranges::count(record, '\a'), 4);
}

TEST_F(WatchScreenTest, WithoutATerminalForItsOutputTheBellRingsOnStandardError) {
  const auto good = PlugIn("good");
  const auto broken = PlugIn("broken", {"can@block:3"});
  const Outcome outcome = RunProgram({KVO_BOARDS, "watch", "--no-switch", "--bell", "--count", "2",
                                      "--json", image_path_, folder_.Path("ports/*")});
  EXPECT_EQ(outcome.error_output, "\a\a\a\a");
  EXPECT_THAT(outcome.output, Not(HasSubstr("\a")));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
