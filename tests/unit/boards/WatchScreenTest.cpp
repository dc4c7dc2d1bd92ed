#include "boards/display/WatchScreen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <list>
#include <sstream>
#include <string>
#include <vector>

#include "support/FakeTime.h"
#include "support/TextPipe.h"
#include "unit/boards/ShownBoards.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::FakeTime;
using bootloadertms::testing::TextPipe;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::Ge;
using ::testing::HasSubstr;
using ::testing::Lt;

constexpr useconds_t kFrameTime = 100'000;

// The text of what was drawn, without sequences.
std::string TextOf(const std::string& drawn) {
  std::string text;
  for (std::size_t at = 0; at < drawn.size(); ++at) {
    if (drawn[at] == '\x1b') {
      at = drawn.find_first_of("ABJKm", at);
    } else if (drawn[at] != '\r') {
      text += drawn[at];
    }
  }
  return text;
}

std::vector<std::size_t> WidthsOf(const std::string& text) {
  std::istringstream lines(text);
  std::vector<std::size_t> widths;
  for (std::string line; std::getline(lines, line);) {
    widths.push_back(line.size());
  }
  return widths;
}

class WatchScreenTest : public ::testing::Test {
 protected:
  // A board that is plugged in and in work.
  BoardStatus& PlugIn(WatchScreen& screen, Step step = Step::kSwitching) {
    BoardStatus& board = boards_.emplace_back(SendingBoard());
    board.port = "/dev/ttyUSB" + std::to_string(boards_.size() - 1);
    screen.Show(board, Change::kCame);
    board.step = step;
    board.transfer_began = Clock::now() - std::chrono::seconds(2);
    screen.Show(board, Change::kStep);
    return board;
  }
  void PlugInEarly(WatchScreen& screen) {
    BoardStatus& board = boards_.emplace_back();
    board.port = "/dev/ttyUSB" + std::to_string(boards_.size() - 1);
    board.is_left_alone = true;
    screen.Show(board, Change::kCame);
  }
  BoardStatus& PlugInAndFlash(WatchScreen& screen) {
    BoardStatus& board = PlugIn(screen);
    board.end = FlashedBoard().end;
    screen.Show(board, Change::kEnd);
    return board;
  }
  BoardStatus& PlugInAndFail(WatchScreen& screen) {
    BoardStatus& board = PlugIn(screen);
    board.end =
        FailedBoard(Reason::kBroken,
                    "block 3 of 10: the board has no valid application, flash it again", true)
            .end;
    screen.Show(board, Change::kEnd);
    return board;
  }

  // What is drawn a frame's time later.
  std::string NextFrame(WatchScreen& screen) {
    ::usleep(kFrameTime);
    screen.Refresh();
    return pipe_.Take();
  }

  WatchScreen MakeScreen(WatchScreen::Options options = {}) {
    options.patterns = {"/dev/serial/by-path/*", "/dev/ttyACM?"};
    return {pipe_.Writer(), options, [this] { return size_; }};
  }

  FakeTime time_{[](auto asked) { return asked; }};
  TextPipe pipe_;
  std::list<BoardStatus> boards_;
  ScreenSize size_ = {80, 24};
};

TEST_F(WatchScreenTest, ABoardThatNeverCameIsNotShown) {
  WatchScreen screen = MakeScreen();
  screen.Show(FlashedBoard(), Change::kEnd);
  EXPECT_EQ(TextOf(NextFrame(screen)),
            "\nWaiting for boards at /dev/serial/by-path/*, /dev/ttyACM?\n0 flashed, 0 failed\n");
}

TEST_F(WatchScreenTest, ItTellsWhatItWaitsForUntilABoardIsThere) {
  WatchScreen screen = MakeScreen();
  EXPECT_EQ(NextFrame(screen),
            "\r\x1b[K\r\n"
            "Waiting for boards at /dev/serial/by-path/*, /dev/ttyACM?\x1b[K\r\n"
            "0 flashed, 0 failed\x1b[K\r\n\x1b[J");
  PlugIn(screen);
  EXPECT_EQ(NextFrame(screen),
            "\r\x1b[3A\x1b[K\r\n"
            "/dev/ttyUSB0  TRK4_R1  switching to the bootloader\x1b[K\r\n"
            "0 flashed, 0 failed\x1b[K\r\n\x1b[J");
  EXPECT_EQ(NextFrame(screen), "");
}

TEST_F(WatchScreenTest, ResultsStandInBlockLettersAmongWhatIsBeingDone) {
  WatchScreen screen = MakeScreen();
  PlugInAndFlash(screen);
  PlugIn(screen, Step::kTransfer);
  PlugInAndFail(screen);
  PlugInEarly(screen);
  EXPECT_EQ(TextOf(NextFrame(screen)), R"(

     ########  ##          ####      ######  ##    ##  ########  ######
     ##        ##        ##    ##  ##        ##    ##  ##        ##    ##
     ######    ##        ########    ####    ########  ######    ##    ##
     ##        ##        ##    ##        ##  ##    ##  ##        ##    ##
     ##        ########  ##    ##  ######    ##    ##  ########  ######

/dev/ttyUSB0  TRK4_R1  flashed in 3.4 s
/dev/ttyUSB1  TRK4_R1  [#######.......]   50 %   62.4 kB/s   0:03 left  sending

           ########    ####    ######  ##        ########  ######
           ##        ##    ##    ##    ##        ##        ##    ##
           ######    ########    ##    ##        ######    ##    ##
           ##        ##    ##    ##    ##        ##        ##    ##
           ##        ##    ##  ######  ########  ########  ######

/dev/ttyUSB2  TRK4_R1  failed: block 3 of 10: the board has no valid
    application, flash it again
/dev/ttyUSB3           already plugged in, ignored
1 flashed, 1 failed
)");
}

TEST_F(WatchScreenTest, WhatIsAnnouncedStandsAfterTheTotals) {
  WatchScreen screen = MakeScreen();
  PlugIn(screen);
  screen.Announce("Something is about to end");
  EXPECT_EQ(NextFrame(screen),
            "\r\x1b[K\r\n"
            "/dev/ttyUSB0  TRK4_R1  switching to the bootloader\x1b[K\r\n"
            "0 flashed, 0 failed. Something is about to end\x1b[K\r\n\x1b[J");
}

TEST_F(WatchScreenTest, AReadyBoardIsCalledSo) {
  size_ = {36, 10};
  WatchScreen screen = MakeScreen({.task = Task::kDryRun});
  BoardStatus& board = PlugIn(screen);
  board.end = AskedBoard(Outcome::kReady).end;
  screen.Show(board, Change::kEnd);
  EXPECT_EQ(TextOf(NextFrame(screen)), R"(
      ###  ####  ##  ###  # #
      #  # #    #  # #  # # #
      ###  ###  #### #  #  #
      # #  #    #  # #  #  #
      #  # #### #  # ###   #

/dev/ttyUSB0  ready
1 ready, 0 failed
)");
}

TEST_F(WatchScreenTest, AWideTerminalHasLettersThatAreHigher) {
  size_ = {120, 30};
  WatchScreen screen = MakeScreen();
  PlugInAndFail(screen);
  EXPECT_EQ(TextOf(NextFrame(screen)), R"(

   ################        ########        ############    ####                ################    ############
   ################        ########        ############    ####                ################    ############
   ####                ####        ####        ####        ####                ####                ####        ####
   ####                ####        ####        ####        ####                ####                ####        ####
   ############        ################        ####        ####                ############        ####        ####
   ############        ################        ####        ####                ############        ####        ####
   ####                ####        ####        ####        ####                ####                ####        ####
   ####                ####        ####        ####        ####                ####                ####        ####
   ####                ####        ####    ############    ################    ################    ############
   ####                ####        ####    ############    ################    ################    ############

/dev/ttyUSB0  TRK4_R1  failed: block 3 of 10: the board has no valid application, flash it again
0 flashed, 1 failed
)");
}

TEST_F(WatchScreenTest, WithColorTheLettersAreFilledOnABandOverTheWholeWidth) {
  size_ = {36, 20};
  WatchScreen screen = MakeScreen({.with_color = true});
  PlugInAndFail(screen);
  PlugInAndFlash(screen);
  const std::string frame = NextFrame(screen);
  EXPECT_THAT(frame, HasSubstr("\x1b[37;41m                                   \x1b[0m\x1b[K\r\n"
                               "\x1b[37;41m   \x1b[37;47m####\x1b[37;41m  \x1b[37;47m##"
                               "\x1b[37;41m  \x1b[37;47m###\x1b[37;41m \x1b[37;47m#"
                               "\x1b[37;41m    \x1b[37;47m####\x1b[37;41m \x1b[37;47m###"
                               "\x1b[37;41m     \x1b[0m\x1b[K\r\n"));
  EXPECT_THAT(frame, HasSubstr("\x1b[30;42m                                   \x1b[0m\x1b[K\r\n"
                               "\x1b[30;40m####\x1b[30;42m \x1b[30;40m#\x1b[30;42m     "
                               "\x1b[30;40m##\x1b[30;42m   \x1b[30;40m###\x1b[30;42m "
                               "\x1b[30;40m#\x1b[30;42m  \x1b[30;40m#\x1b[30;42m "
                               "\x1b[30;40m####\x1b[30;42m \x1b[30;40m###\x1b[30;42m  "
                               "\x1b[0m\x1b[K\r\n"));
}

TEST_F(WatchScreenTest, ResultsThatDoNotFitAreSmallerTheGoodOnesFirst) {
  size_ = {50, 16};
  WatchScreen screen = MakeScreen();
  PlugInAndFlash(screen);
  PlugInAndFail(screen);
  PlugInAndFlash(screen);
  EXPECT_EQ(TextOf(NextFrame(screen)), R"(
/dev/ttyUSB0  flashed in 3.4 s

          ####  ##  ### #    #### ###
          #    #  #  #  #    #    #  #
          ###  ####  #  #    ###  #  #
          #    #  #  #  #    #    #  #
          #    #  # ### #### #### ###

/dev/ttyUSB1  failed: block 3 of 10: the board
    has no valid application, flash it again
/dev/ttyUSB2  flashed in 3.4 s
2 flashed, 1 failed
)");
  size_.rows = 11;
  EXPECT_EQ(TextOf(NextFrame(screen)), R"(==================== FLASHED ====================
/dev/ttyUSB0  flashed in 3.4 s
=================================================
#################### FAILED #####################
/dev/ttyUSB1  failed: block 3 of 10: the board...
#################################################
==================== FLASHED ====================
/dev/ttyUSB2  flashed in 3.4 s
=================================================
2 flashed, 1 failed
)");
  size_.rows = 6;
  EXPECT_EQ(TextOf(NextFrame(screen)), R"(
/dev/ttyUSB0  flashed in 3.4 s
/dev/ttyUSB1  failed: block 3 of 10: the board...
/dev/ttyUSB2  flashed in 3.4 s
2 flashed, 1 failed
)");
}

TEST_F(WatchScreenTest, SmallerResultsAreBandsOfColor) {
  size_ = {40, 6};
  WatchScreen screen = MakeScreen({.with_color = true});
  PlugInAndFlash(screen);
  PlugInAndFail(screen);
  EXPECT_EQ(NextFrame(screen),
            "\r\x1b[30;42m/dev/ttyUSB0  flashed in 3.4 s         \x1b[0m\x1b[K\r\n"
            "\x1b[37;41m                FAILED                 \x1b[0m\x1b[K\r\n"
            "\x1b[37;41m/dev/ttyUSB1  failed: block 3 of 10:...\x1b[0m\x1b[K\r\n"
            "\x1b[37;41m                                       \x1b[0m\x1b[K\r\n"
            "1 flashed, 1 failed\x1b[K\r\n\x1b[J");
}

TEST_F(WatchScreenTest, FailuresAndBoardsInWorkHaveTheFirstRightToARow) {
  size_ = {60, 6};
  WatchScreen screen = MakeScreen();
  PlugInEarly(screen);
  PlugInAndFlash(screen);
  PlugInAndFlash(screen);
  PlugIn(screen);
  PlugInAndFail(screen);
  EXPECT_EQ(TextOf(NextFrame(screen)),
            "/dev/ttyUSB2  flashed in 3.4 s\n"
            "/dev/ttyUSB3  switching to the bootloader\n"
            "/dev/ttyUSB4  failed: block 3 of 10: the board has no va...\n"
            "... and 2 more\n"
            "2 flashed, 1 failed\n");
  size_.rows = 4;
  EXPECT_EQ(TextOf(NextFrame(screen)),
            "/dev/ttyUSB4  failed: block 3 of 10: the board has no va...\n"
            "... and 4 more\n"
            "2 flashed, 1 failed\n");
  size_.rows = 2;
  EXPECT_EQ(TextOf(NextFrame(screen)), "2 flashed, 1 failed\n");
}

TEST_F(WatchScreenTest, ABoardThatGoesLeavesItsResultAbove) {
  size_ = {60, 8};
  WatchScreen screen = MakeScreen();
  BoardStatus& failed = PlugInAndFail(screen);
  BoardStatus& unserved = PlugIn(screen);
  PlugIn(screen);
  NextFrame(screen);
  screen.Show(failed, Change::kGone);
  screen.Show(unserved, Change::kGone);
  boards_.pop_front();
  boards_.pop_front();
  EXPECT_EQ(NextFrame(screen),
            "\r\x1b[7A/dev/ttyUSB0  failed: block 3 of 10: the board has no valid\x1b[K\r\n"
            "    application, flash it again\x1b[K\r\n"
            "\x1b[K\r\n"
            "/dev/ttyUSB2  switching to the bootloader\x1b[K\r\n"
            "0 flashed, 1 failed\x1b[K\r\n\x1b[J");
  EXPECT_EQ(NextFrame(screen), "");
}

TEST_F(WatchScreenTest, AtTheEndResultsAreAllInTheHistoryWithTheTotalsBelow) {
  WatchScreen screen = MakeScreen({.with_color = true});
  screen.Show(PlugInAndFlash(screen), Change::kGone);
  PlugInAndFail(screen);
  PlugIn(screen);
  PlugInEarly(screen);
  boards_.clear();  // whoever kept them has ended
  screen.Finish({2, 1, 1, 3.5});
  EXPECT_EQ(pipe_.Take(),
            "\r/dev/ttyUSB0  TRK4_R1  \x1b[32mflashed in 3.4 s\x1b[0m\x1b[K\r\n"
            "/dev/ttyUSB1  TRK4_R1  \x1b[31mfailed: block 3 of 10: the board has no valid\x1b[0m"
            "\x1b[K\r\n"
            "    \x1b[31mapplication, flash it again\x1b[0m\x1b[K\r\n"
            "2 boards: 1 flashed, 1 failed\x1b[K\r\n\x1b[J");
}

TEST_F(WatchScreenTest, AnEndWithoutAnyBoardIsToldAsWell) {
  MakeScreen().Finish({0, 0, 0, 3.5});
  EXPECT_EQ(pipe_.Take(), "\r0 boards: 0 flashed\x1b[K\r\n\x1b[J");
}

TEST_F(WatchScreenTest, NoFrameIsWiderOrHigherThanTheTerminal) {
  WatchScreen screen = MakeScreen({.with_color = true});
  for (int boards = 0; boards < 3; ++boards) {
    for (size_.rows = 2; size_.rows < 40; size_.rows += 3) {
      for (size_.columns = 2; size_.columns < 150; size_.columns += 7) {
        const std::vector<std::size_t> widths = WidthsOf(TextOf(NextFrame(screen)));
        ASSERT_THAT(widths.size(), AllOf(Ge(1U), Lt(size_.rows)));
        ASSERT_THAT(widths, Each(Lt(size_.columns)));
      }
    }
    PlugInAndFlash(screen);
    PlugInAndFail(screen);
    PlugInEarly(screen);
    PlugIn(screen, Step::kTransfer);
  }
}

}  // namespace
}  // namespace kvo::boards
