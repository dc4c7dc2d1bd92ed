// What kvo-boards shows on the screen of a real terminal emulator.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "program/Programs.h"
#include "program/boards/Screen.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class ScreenTest : public ::testing::Test {
 protected:
  // A board at the port "boardN", N from 0.
  SimulatedBoard& AddBoard(const std::vector<std::string>& faults = {}) {
    const std::string port = "board" + std::to_string(boards_.size());
    std::vector<std::string> options = {"--link", folder_.Path(port), "--state", "bootloader"};
    for (const std::string& fault : faults) {
      options.insert(options.end(), {"--fault", fault});
    }
    boards_.push_back(std::make_unique<SimulatedBoard>(options));
    return *boards_.back();
  }

  // One that keeps its sender waiting after 5 of 10 blocks, for as long as that waits: 25 seconds.
  // The pause before makes sure that the fifth is told: progress is, at most ten times a second.
  void AddBoardThatStops() { AddBoard({"late=1000@block:5", "late=60000@block:6"}); }

  // kvo-boards flashing all of them, then its exit status.
  std::string Flash(const std::string& environment = "", const std::string& options = "") const {
    std::string ports;
    for (std::size_t board = 0; board < boards_.size(); ++board) {
      ports += " board" + std::to_string(board);
    }
    return "cd " + folder_.Path("") + "\n" + environment + " " + KVO_BOARDS +
           " flash --no-switch --deadline 0 --answer-timeout 25500 " + options + " x_tv.bin" +
           ports + "\necho status $?\n";
  }

  TemporaryFolder folder_;
  std::string image_ = ImageOf(10240);
  std::string image_path_ = folder_.WriteFile("x_tv.bin", image_);
  std::vector<std::unique_ptr<SimulatedBoard>> boards_;
};

TEST_F(ScreenTest, EachBoardHasItsLineInTheMiddleAndAtTheEnd) {
  AddBoardThatStops();
  AddBoard();
  AddBoard({"can@block:3"});
  const Screen screen(80, 24,
                      "echo before\nsettings=$(stty -g)\n" + Flash() +
                          "[ \"$(stty -g)\" = \"$settings\" ] && echo as it was");
  screen.ExpectToBecome(
      R"(before
board0  TRK4_R1  \[#{10}\.{10}\]   50 % +[0-9.]+ kB/s +[0-9]+:[0-9]{2} left  sending
board1  TRK4_R1  flashed in [0-9]+\.[0-9] s
board2  TRK4_R1  failed: the board ended the transfer at block 3 of 10: the \.\.\.)");
  screen.Press("C-c");
  screen.ExpectToBecome(
      R"(before
board0  TRK4_R1  failed: .*block 6 of 10.*(
    .*)*
board1  TRK4_R1  flashed in [0-9]+\.[0-9] s
board2  TRK4_R1  failed: the board ended the transfer at block 3 of 10: the
    board has no valid application, flash it again
3 boards: 1 flashed, 2 failed
status 130
as it was)");
}

TEST_F(ScreenTest, FortyColumnsHoldABarAndWhatIsDone) {
  AddBoardThatStops();
  const Screen screen(40, 10, Flash());
  screen.ExpectToBecome(R"(board0  \[#{6}\.{7}\]   50 %  sending)");
}

TEST_F(ScreenTest, AChangeOfWidthLeavesNoRestOfTheOldLines) {
  AddBoardThatStops();
  AddBoardThatStops();
  const Screen screen(80, 10, Flash());
  screen.WaitFor("left  sending");
  screen.SetColumns(40);
  screen.ExpectToBecome(R"(board0  \[#{6}\.{7}\]   50 %  sending
board1  \[#{6}\.{7}\]   50 %  sending)");
  screen.SetColumns(100);
  screen.ExpectToBecome(R"(board0  TRK4_R1 .* left  sending
board1  TRK4_R1 .* left  sending)");
}

TEST_F(ScreenTest, WhenThereAreMoreBoardsThanRowsThoseThatHaveEndedScrollAway) {
  for (int board = 0; board < 4; ++board) {
    AddBoardThatStops();
  }
  AddBoard();
  const Screen screen(60, 4, Flash());
  const std::string sending = R"(  \[#+\.+\]   50 % +[0-9.]+ kB/s +[0-9]+:[0-9]{2} left  sending)";
  screen.ExpectToBecome("board0" + sending + "\nboard1" + sending + "\n... and 2 more");
  EXPECT_THAT(screen.WholeText(), HasSubstr("board4  flashed in "));
  screen.Press("C-c");
  screen.WaitFor("status 130");
  const std::string text = screen.WholeText();
  EXPECT_THAT(text, StartsWith("board4  flashed in "));
  for (const char* board : {"board0", "board1", "board2", "board3"}) {  // they end in any order
    EXPECT_THAT(text, HasSubstr("\n" + std::string(board) + "  failed: interrupted "));
  }
  EXPECT_THAT(text, EndsWith("\n5 boards: 1 flashed, 4 failed\nstatus 130"));
}

TEST_F(ScreenTest, ResultsAreColoredUnlessTheUserDeclines) {
  AddBoard();
  struct Row {
    const char* environment;
    const char* option;
    bool is_colored;
  };
  for (const Row& row :
       {Row{"NO_COLOR=", "", true}, Row{"NO_COLOR=1", "", false},
        Row{"NO_COLOR=", "--color never", false}, Row{"NO_COLOR=1", "--color always", true}}) {
    const Screen screen(80, 24, Flash(row.environment, std::string("--dry-run ") + row.option));
    screen.WaitFor("status 0");
    EXPECT_EQ(screen.Text({"-e"}).find("\x1b[32mready") != std::string::npos, row.is_colored)
        << row.environment << " " << row.option;
  }
}

TEST_F(ScreenTest, ATerminalWithoutAbilitiesGetsLines) {
  AddBoard();
  const Screen screen(80, 24, Flash("TERM=dumb"));
  screen.ExpectToBecome(R"(board0: switching to the bootloader
board0: sending
(board0: [1-9]0 %
)+board0: 100 %
board0: starting the application
board0: flashed in [0-9]+\.[0-9] s
1 board: 1 flashed
status 0)");
}

TEST_F(ScreenTest, AnswersAreWrappedToTheWidth) {
  AddBoard();
  const Screen screen(
      60, 24, "cd " + folder_.Path("") + "\n" + KVO_BOARDS + " info board0; echo status $?");
  screen.ExpectToBecome(
      R"(board0  bootloader, serial SN000042, hardware HW-R3,
    product KVO-TMS, version V2.10, v1.04, application
    information APP-INFO 2.10
status 0)");
}

TEST_F(ScreenTest, ATerminalThatIsStoppedDoesNotKeepTheNextBoardWaiting) {
  AddBoard({"late=5000@block:6"});  // so that there is time to see it and to stop
  SimulatedBoard& next = AddBoard();
  const Screen screen(80, 24, Flash("", "--jobs 1"));
  screen.WaitFor("sending");
  screen.Press("C-s");
  EXPECT_TRUE(Becomes([&] { return next.Flash() == image_; }));
  EXPECT_THAT(screen.Text(), HasSubstr("sending"));
  screen.Press("C-q");
  screen.WaitFor("2 boards: 2 flashed\nstatus 0");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
