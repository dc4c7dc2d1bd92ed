#include "boards/display/Lines.h"

#include <gtest/gtest.h>

#include "support/TextPipe.h"
#include "unit/boards/ShownBoards.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::TextPipe;

// A flash from its begin to its end, a little more than 6 % at a time.
void PlayAFlash(Display& display, int attempt) {
  BoardStatus board = SendingBoard();
  board.attempt = attempt;
  board.step = Step::kOpening;
  display.Show(board, Change::kAttempt);
  for (const Step step : {Step::kOpening, Step::kWaiting, Step::kSwitching, Step::kTransfer}) {
    board.step = step;
    display.Show(board, Change::kStep);
  }
  for (board.bytes_sent = 0; board.bytes_sent < board.bytes; board.bytes_sent += 16800) {
    display.Show(board, Change::kProgress);
  }
  display.Show(board, Change::kProgress);
  board.step = Step::kStarting;
  display.Show(board, Change::kStep);
  board.end = FlashedBoard().end;
  display.Show(board, Change::kEnd);
}

TEST(LinesTest, EachStepAndEachTenthIsToldOnce) {
  const TextPipe pipe;
  Lines lines(pipe.Writer(), {});
  PlayAFlash(lines, 1);
  lines.Finish({1, 1, 0, 3.5});
  EXPECT_EQ(pipe.Take(),
            "/dev/ttyUSB0: opening the port\n"
            "/dev/ttyUSB0: waiting for its turn\n"
            "/dev/ttyUSB0: switching to the bootloader\n"
            "/dev/ttyUSB0: sending\n"
            "/dev/ttyUSB0: 10 %\n"
            "/dev/ttyUSB0: 20 %\n"
            "/dev/ttyUSB0: 30 %\n"
            "/dev/ttyUSB0: 40 %\n"
            "/dev/ttyUSB0: 50 %\n"
            "/dev/ttyUSB0: 60 %\n"
            "/dev/ttyUSB0: 70 %\n"
            "/dev/ttyUSB0: 80 %\n"
            "/dev/ttyUSB0: 90 %\n"
            "/dev/ttyUSB0: 100 %\n"
            "/dev/ttyUSB0: starting the application\n"
            "/dev/ttyUSB0: flashed in 3.4 s\n"
            "1 board: 1 flashed\n");
}

TEST(LinesTest, ASecondAttemptIsToldAndItsTenthsBeginAnew) {
  const TextPipe pipe;
  Lines lines(pipe.Writer(), {});
  BoardStatus board = SendingBoard();
  lines.Show(board, Change::kProgress);
  board.attempt = 2;
  board.bytes_sent = 0;
  lines.Show(board, Change::kAttempt);
  board.bytes_sent = 27000;
  lines.Show(board, Change::kProgress);
  EXPECT_EQ(pipe.Take(),
            "/dev/ttyUSB0: 50 %\n"
            "/dev/ttyUSB0: attempt 2\n"
            "/dev/ttyUSB0: 10 %\n");
}

TEST(LinesTest, WithoutProgressResultsAndTheSummaryStay) {
  const TextPipe pipe;
  Lines lines(pipe.Writer(), {.with_progress = false});
  PlayAFlash(lines, 2);
  lines.Show(FailedBoard(Reason::kLost, "the port is gone", true), Change::kEnd);
  lines.Finish({2, 1, 1, 3.5});
  EXPECT_EQ(pipe.Take(),
            "/dev/ttyUSB0: flashed in 3.4 s\n"
            "/dev/ttyUSB0: failed: the port is gone\n"
            "2 boards: 1 flashed, 1 failed\n");
}

// One board that is flashed, one that is left alone; both go.
void PlayAWatch(Display& display) {
  BoardStatus left_alone;
  left_alone.port = "/dev/ttyUSB1";
  left_alone.is_left_alone = true;
  display.Show(left_alone, Change::kCame);
  BoardStatus board = SendingBoard();
  display.Show(board, Change::kCame);
  display.Show(board, Change::kStep);
  board.end = FlashedBoard().end;
  display.Show(board, Change::kEnd);
  display.Show(board, Change::kGone);
  display.Show(left_alone, Change::kGone);
}

TEST(LinesTest, AWatchIsToldWithComingsAndGoingsAndTotalsAfterEachResult) {
  const TextPipe pipe;
  Lines lines(pipe.Writer(), {.patterns = {"/dev/serial/by-path/*", "/dev/ttyACM?"}});
  PlayAWatch(lines);
  lines.Announce("Something is about to end");
  lines.Show(FailedBoard(Reason::kLost, "the port is gone", true), Change::kEnd);
  lines.Finish({2, 1, 1, 3.5});
  EXPECT_EQ(pipe.Take(),
            "Waiting for boards at /dev/serial/by-path/*, /dev/ttyACM?\n"
            "/dev/ttyUSB1: already plugged in, ignored\n"
            "/dev/ttyUSB0: plugged in\n"
            "/dev/ttyUSB0: sending\n"
            "/dev/ttyUSB0: flashed in 3.4 s\n"
            "1 flashed, 0 failed\n"
            "/dev/ttyUSB0: unplugged\n"
            "/dev/ttyUSB1: unplugged\n"
            "Something is about to end\n"
            "/dev/ttyUSB0: failed: the port is gone\n"
            "1 flashed, 1 failed\n"
            "2 boards: 1 flashed, 1 failed\n");
}

TEST(LinesTest, AWatchWithoutProgressTellsResultsAndTotals) {
  const TextPipe pipe;
  Lines lines(pipe.Writer(), {.with_progress = false, .patterns = {"/dev/ttyACM?"}});
  PlayAWatch(lines);
  lines.Finish({1, 1, 0, 3.5});
  EXPECT_EQ(pipe.Take(),
            "/dev/ttyUSB0: flashed in 3.4 s\n"
            "1 flashed, 0 failed\n"
            "1 board: 1 flashed\n");
}

TEST(LinesTest, AnswersHaveNoSummary) {
  const TextPipe pipe;
  Lines lines(pipe.Writer(), {.task = Task::kInfo, .with_progress = false});
  lines.Show(AnsweringApplication(), Change::kEnd);
  lines.Finish({1, 1, 0, 3.5});
  EXPECT_EQ(pipe.Take(), "/dev/ttyUSB0: application, serial SN000042, boot status BOOT_NORMAL\n");
}

TEST(LinesTest, ColorsTellGoodFromBadAndLeaveAnswersAlone) {
  const TextPipe pipe;
  Lines lines(pipe.Writer(), {.task = Task::kInfo, .with_color = true});
  lines.Show(FlashedBoard(), Change::kEnd);
  lines.Show(FailedBoard(Reason::kLost, "the port is gone", true), Change::kEnd);
  lines.Show(AnsweringApplication(), Change::kEnd);
  EXPECT_EQ(pipe.Take(),
            "/dev/ttyUSB0: \x1b[32mflashed in 3.4 s\x1b[0m\n"
            "/dev/ttyUSB0: \x1b[31mfailed: the port is gone\x1b[0m\n"
            "/dev/ttyUSB0: application, serial SN000042, boot status BOOT_NORMAL\n");
}

TEST(LinesTest, APortIsNamedWithoutItsControlCharacters) {
  const TextPipe pipe;
  Lines lines(pipe.Writer(), {});
  BoardStatus board = SendingBoard();
  board.port = "/dev/\x1b]0;x\a";
  lines.Show(board, Change::kStep);
  EXPECT_EQ(pipe.Take(), "/dev/\\x1b]0;x\\x07: sending\n");
}

TEST(FailuresTest, OnlyBoardsThatAreNotAsTheyShouldBeAreTold) {
  const TextPipe pipe;
  Failures failures(pipe.Writer());
  PlayAFlash(failures, 1);
  failures.Show(AnsweringApplication(), Change::kEnd);
  failures.Show(AskedBoard(Outcome::kSilent), Change::kEnd);
  failures.Show(FailedBoard(Reason::kLost, "the port is gone", true), Change::kEnd);
  failures.Finish({4, 2, 2, 3.5});
  EXPECT_EQ(pipe.Take(),
            "/dev/ttyUSB0: silent\n"
            "/dev/ttyUSB0: failed: the port is gone\n");
}

}  // namespace
}  // namespace kvo::boards
