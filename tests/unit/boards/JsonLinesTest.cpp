#include "boards/display/JsonLines.h"

#include <gtest/gtest.h>

#include "support/FakeTime.h"
#include "support/TextPipe.h"
#include "unit/boards/ShownBoards.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::TextPipe;

// What a single change is told as.
std::string JsonOf(const BoardStatus& board, Change change, Task task = Task::kFlash,
                   bool with_progress = true) {
  const TextPipe pipe;
  JsonLines(pipe.Writer(), task, with_progress).Show(board, change);
  return pipe.Take();
}

TEST(JsonLinesTest, AnAttemptStartsWithTheTimeAndTheImage) {
  bootloadertms::testing::FakeTime time([](auto asked) { return asked; });
  time.AdvanceWallClock(std::chrono::milliseconds(7));
  EXPECT_EQ(JsonOf(SendingBoard(), Change::kAttempt),
            R"({"event":"started","time":"2001-09-09T01:46:40.007Z","port":"/dev/ttyUSB0",)"
            R"("board":"TRK4_R1","application":"TRK4-R1-APPLICATION","bytes":262144,"attempt":1})"
            "\n");
}

TEST(JsonLinesTest, ProgressIsInBytes) {
  EXPECT_EQ(JsonOf(SendingBoard(), Change::kProgress),
            R"({"event":"progress","port":"/dev/ttyUSB0","bytes_sent":131072,"bytes":262144})"
            "\n");
}

TEST(JsonLinesTest, AFlashedBoardHasARate) {
  EXPECT_EQ(JsonOf(FlashedBoard(), Change::kEnd),
            R"({"event":"finished","port":"/dev/ttyUSB0","result":"flashed","seconds":3.4,)"
            R"("attempts":1,"bytes_per_second":96000})"
            "\n");
}

TEST(JsonLinesTest, AFailureHasItsReasonAndMessage) {
  EXPECT_EQ(JsonOf(FailedBoard(Reason::kRefused, "it's for \"another\"", false), Change::kEnd),
            R"({"event":"finished","port":"/dev/ttyUSB0","result":"failed","reason":"refused",)"
            R"("message":"it's for \"another\"","seconds":2.1,"attempts":1})"
            "\n");
}

TEST(JsonLinesTest, AFailureInATransferTellsItsBlock) {
  const std::string line =
      R"({"event":"finished","port":"/dev/ttyUSB0","result":"failed","reason":"lost",)"
      R"("message":"gone","block":17,"blocks":256,"seconds":2.1,"attempts":1})"
      "\n";
  EXPECT_EQ(JsonOf(FailedBoard(Reason::kLost, "gone", true), Change::kEnd), line);
}

TEST(JsonLinesTest, ABrokenUploadTellsItsBlockEvenAfterItsEnd) {
  EXPECT_EQ(JsonOf(FailedBoard(Reason::kBroken, "CAN", false), Change::kEnd),
            R"({"event":"finished","port":"/dev/ttyUSB0","result":"failed","reason":"broken",)"
            R"("message":"CAN","block":17,"blocks":256,"seconds":2.1,"attempts":1})"
            "\n");
}

TEST(JsonLinesTest, ADryRunStartsNothingAndEndsReady) {
  EXPECT_EQ(JsonOf(SendingBoard(), Change::kAttempt, Task::kDryRun), "");
  EXPECT_EQ(JsonOf(AskedBoard(Outcome::kReady), Change::kEnd, Task::kDryRun),
            R"({"event":"finished","port":"/dev/ttyUSB0","result":"ready","seconds":0.5,)"
            R"("attempts":0})"
            "\n");
}

TEST(JsonLinesTest, ASummaryEndsAllButAnswers) {
  const TextPipe pipe;
  JsonLines(pipe.Writer(), Task::kFlash, true).Finish({3, 2, 1, 3.50049});
  JsonLines(pipe.Writer(), Task::kDryRun, true).Finish({2, 2, 0, 3.0});
  JsonLines(pipe.Writer(), Task::kInfo, true).Finish({1, 1, 0, 3.0});
  EXPECT_EQ(pipe.Take(), R"({"event":"summary","boards":3,"flashed":2,"failed":1,"seconds":3.5})"
                         "\n"
                         R"({"event":"summary","boards":2,"ready":2,"failed":0,"seconds":3.0})"
                         "\n");
}

TEST(JsonLinesTest, AnswersAreFieldsInAFixedOrder) {
  EXPECT_EQ(JsonOf(AnsweringBootloader(), Change::kEnd, Task::kInfo),
            R"({"event":"info","port":"/dev/ttyUSB0","state":"bootloader","serial":"SN000042",)"
            R"("hardware":"HW-R3","product":"KVO-TMS","version_upper":"V2.10",)"
            R"("version_lower":"v1.04","application_information":"APP-INFO 2.10"})"
            "\n");
  EXPECT_EQ(JsonOf(AnsweringApplication(), Change::kEnd, Task::kInfo),
            R"({"event":"info","port":"/dev/ttyUSB0","state":"application","serial":"SN000042",)"
            R"("boot_status":"BOOT_NORMAL"})"
            "\n");
}

TEST(JsonLinesTest, APortThatCannotBeAskedHasAReasonInPlaceOfAState) {
  EXPECT_EQ(JsonOf(AskedBoard(Outcome::kSilent), Change::kEnd, Task::kInfo),
            R"({"event":"info","port":"/dev/ttyUSB0","state":"silent"})"
            "\n");
  EXPECT_EQ(JsonOf(FailedBoard(Reason::kMissing, "no such port", false), Change::kEnd, Task::kInfo),
            R"({"event":"info","port":"/dev/ttyUSB0","reason":"missing","message":"no such port"})"
            "\n");
}

TEST(JsonLinesTest, NothingButTheAnswersIsToldOfABoardThatIsAsked) {
  for (const Change change : {Change::kAttempt, Change::kStep, Change::kProgress}) {
    EXPECT_EQ(JsonOf(SendingBoard(), change, Task::kInfo), "");
  }
}

TEST(JsonLinesTest, WithoutProgressAllElseStays) {
  EXPECT_EQ(JsonOf(SendingBoard(), Change::kProgress, Task::kFlash, false), "");
  EXPECT_NE(JsonOf(FlashedBoard(), Change::kEnd, Task::kFlash, false), "");
}

TEST(JsonLinesTest, WhatIsNoTextIsReplaced) {
  BoardStatus board = SendingBoard();
  board.port = "/dev/\xff\x1b";
  EXPECT_EQ(JsonOf(board, Change::kProgress),
            "{\"event\":\"progress\",\"port\":\"/dev/\\ufffd\\u001b\",\"bytes_sent\":131072,"
            "\"bytes\":262144}\n");
}

TEST(JsonLinesTest, ARateThatIsNoNumberIsZero) {
  BoardStatus board = FlashedBoard();
  board.end->bytes_per_second = 1.0 / 0.0;
  EXPECT_THAT(JsonOf(board, Change::kEnd), ::testing::HasSubstr(R"("bytes_per_second":0})"));
}

}  // namespace
}  // namespace kvo::boards
