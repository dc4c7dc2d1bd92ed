// What the real program makes of its line: settings that somebody left there, bytes that nobody
// asked for, answers late, long or in pieces, and a port that is in use.
#include <gtest/gtest.h>
#include <termios.h>

#include <string>
#include <thread>

#include "program/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

class LineTest : public UtilityOnALine {
 protected:
  void BoardAnswersEachPing(std::chrono::milliseconds delay, const std::string& answer) const {
    while (terminal_.Receive(1, 500ms) == "0") {
      std::this_thread::sleep_for(delay);
      SendIfStillOpen(terminal_, answer);
    }
  }
};

TEST_F(LineTest, SettingsThatSomebodyLeftAreReplaced) {
  termios settings = terminal_.Settings();
  settings.c_iflag |= ICRNL | INLCR | IXON | IXOFF | ISTRIP | IGNCR;
  settings.c_oflag |= OPOST | ONLCR | OCRNL;
  settings.c_lflag |= ICANON | ECHO | ISIG | IEXTEN;
  settings.c_cflag |= PARENB | PARODD | CSTOPB | CRTSCTS;
  terminal_.SetSettings(settings);
  Start({"--send", "0D"});
  BoardPlays({{"\r", "\x03 \x11\x13 \x04 \xE9 \x7F"}});
  ExpectSuccess("\x03 \x11\x13 \x04 \xE9 \x7F\n");
}

TEST_F(LineTest, BytesThatWaitedBeforeTheRunAreNoAnswer) {
  termios settings = terminal_.Settings();
  ::cfmakeraw(&settings);
  terminal_.SetSettings(settings);
  BoardSends("stale;");
  Start({"--command", "0x37"});
  BoardPlays({{"7", "new"}});
  ExpectSuccess("new\0\n"s);
}

TEST_F(LineTest, AnAnswerInPiecesIsWholeWhenItsPiecesComeInTime) {
  Start({"--command", "0x37"});
  BoardPlays({{"7", "one "}});
  BoardSends("two ");
  BoardSends("three\r\n");
  ExpectSuccess("one two three\r\n\0\n"s);
}

// On a busy machine a ping may miss the moment; not all of them do.
TEST_F(LineTest, ALateByteIsTakenWhileItsReadWaits) {
  Start({"--command", "0x30"});
  BoardAnswersEachPing(60ms, "A");
  ExpectSuccess("");
}

TEST_F(LineTest, ALateTextIsTakenWhileItsReadWaits) {
  Start({"--command", "0x52"});
  BoardAnswersEachPing(60ms, "ping_callback_function");
  ExpectSuccess("");
}

TEST_F(LineTest, AQuestionWithoutAnAnswerLeavesItsFieldEmpty) {
  Start({"--command", "0x100"});
  BoardPlays({{"s", "one"}, {"h", ""}, {"p", "two"}, {"V", ""}, {"v", "three"}});
  ExpectSuccess("one\n\ntwo\nthree\n");
  EXPECT_GE(RunTime(), 700ms) << "five pauses and two silent reads of 100 ms each";
}

TEST_F(LineTest, OfALongerAnswerTheFirst255BytesAreTaken) {
  Start({"--command", "0x37"});
  BoardPlays({{"7", std::string(255, 'x') + ";"}});
  ExpectSuccess(std::string(255, 'x') + "\0\n"s);
}

TEST_F(LineTest, TheRestOfALongAnswerIsTheAnswerToTheNextQuestion) {
  Start({"--command", "0x100"});
  BoardPlays({{"s", std::string(255, 'x') + "rest"}, {"h", ""}, {"p", "P"}, {"V", ""}, {"v", "v"}});
  ExpectSuccess(std::string(255, 'x') + "\nrest\nP\nv\n");
}

TEST_F(LineTest, AllByteValuesArriveUnchanged) {
  std::string every_value;
  for (int value = 1; value < 256; ++value) {
    if (value != ';') {
      every_value += static_cast<char>(value);
    }
  }
  Start({"--command", "0x39"});
  BoardPlays({{"9", "\0"s + every_value}});
  ExpectSuccess("\0"s + every_value + "\0\n"s);
}

TEST_F(LineTest, TheSpeedOfTheCommandLineIsSet) {
  Start({"--send", "41"});
  BoardPlays({{"A", "x"}});
  ExpectSuccess("x\n");
  const termios settings = terminal_.Settings();
  EXPECT_EQ(::cfgetispeed(&settings), speed_t{B115200});
  EXPECT_EQ(::cfgetospeed(&settings), speed_t{B115200});
}

TEST_F(LineTest, ABusyPortIsAWarningAndTheCommandRunsAllTheSame) {
  tools_.LsofPrints("COMMAND PID\n");
  Start({"--command", "0x30", "--verbose"});
  BoardPlays({{"0", "A"}});
  ExpectSuccess(kEntering + "\nSend BL_CMD_PING (0x30)... [OK]\n" + kExiting,
                "Error: " + terminal_.Path() +
                    " port is already opened or a minicom instance is running.\n"
                    "Please close all minicom instances and/or programs using the port before "
                    "trying to flash.\n");
  EXPECT_EQ(tools_.Calls(), "lsof " + terminal_.Path() + "\n");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
