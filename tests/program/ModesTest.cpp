// The send and the application-information mode on the real program, and the modes on the simulated
// board; the command mode and the upload have tests of their own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "program/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using ::testing::AnyOf;
using ::testing::HasSubstr;

class SendTest : public UtilityOnALine {};

TEST_F(SendTest, PrintsTheCleanedAnswerAlone) {
  Start({"--send", "0"});
  BoardPlays({{"\0"s, "\rin\n two\0; lines\r\n"s}});
  ExpectSuccess("in two; lines\n");
  EXPECT_GE(RunTime(), 100ms);
}

TEST_F(SendTest, SendsTheLowByteAndVerboseSaysOkAfterTheAnswer) {
  Start({"--send", "0x1FF", "--verbose"});
  BoardPlays({{"\xFF", "255"}});
  ExpectSuccess(kEntering + "\nSend CMD (0x1FF)...255\n [OK]\n" + kExiting);
}

TEST_F(SendTest, NoAnswerIsAnEmptyLine) {
  Start({"--send", "b"});
  BoardPlays({{"\v", ""}});
  ExpectSuccess("\n");
}

TEST_F(SendTest, AnUnknownByteIsAnErrorWithoutAMark) {
  Start({"--send", "-1", "--verbose"});
  BoardPlays({{"\xFF", "\r\nU\0"s}});
  ExpectFailure(kEntering + "\nSend CMD (-1)...", "Invalid command. Exiting");
}

// The read finds a line that has vanished already silent, and fails on one that vanishes meanwhile.
TEST_F(SendTest, ALineThatVanishesIsSilenceOrASystemErrorWithoutAMark) {
  Start({"--send", "41", "--verbose"});
  BoardGets("A");
  terminal_.HangUp();
  const std::string sent = kEntering + "\nSend CMD (41)...";
  EXPECT_THAT(End().output, AnyOf(sent + "\n [OK]\n" + kExiting, sent + Failure("Bad address")));
}

class ApplicationInfoTest : public UtilityOnALine {
 protected:
  const std::string alive_ = "ping_callback_function\r\n";
};

TEST_F(ApplicationInfoTest, IsPrintedAndTheApplicationStarted) {
  Start({"--application_info", "--no_active_bootloader"});
  BoardPlays({{"9", "APP 2.0\r\n"}, {"6", ""}, {"0", alive_}});
  ExpectSuccess("APP 2.0\r\n\0\n"s);
  EXPECT_GE(RunTime(), 1150ms);
}

TEST_F(ApplicationInfoTest, TheBootloaderIsActivatedBeforeWhereAskedFor) {
  Start({"--application_info", "--active_bootloader", "--verbose"});
  BoardPlays({{"Q", ""},
              {"\x18\x18", ""},
              {"0", "A;stale"},
              {"9", "APP 2.0"},
              {"6", ""},
              {"0", ""},
              {"0", alive_}});
  ExpectSuccess(kEntering + "Active bootloader ... APP 2.0\0\n"s + kExiting);
  EXPECT_GE(RunTime(), 2300ms);
}

TEST_F(ApplicationInfoTest, ASilentBootloaderIsAskedNothing) {
  Start({"--application_info", "--active_bootloader", "--verbose"});
  BoardPlays({{"Q", ""}, {"\x18\x18", ""}, {"000000000", ""}});
  ExpectFailure(kEntering + "Active bootloader ... ", "Bootloader doesn't respond. Exiting");
}

TEST_F(ApplicationInfoTest, WithoutAnAnswerTheApplicationIsNotStarted) {
  Start({"--application_info", "--verbose"});
  BoardPlays({{"9", ""}});
  ExpectFailure(kEntering,
                "Invalid response (bootloader is probably not activated or command is not "
                "implemented). Exiting");
}

TEST_F(ApplicationInfoTest, AnApplicationThatDoesNotStartIsAnErrorAfterTheAnswer) {
  Start({"--application_info", "--x"});
  BoardPlays({{"9", "APP 2.0"}, {"6", ""}, {std::string(60, '0'), ""}});
  ExpectFailure("APP 2.0\0\n"s, "Application doesn't respond. Exiting");
}

TEST_F(ApplicationInfoTest, ALineThatVanishesIsASystemErrorWithoutAMark) {
  Start({"--application_info", "--active_bootloader", "--verbose"});
  BoardGets("Q");
  terminal_.HangUp();
  ExpectFailure(kEntering + "Active bootloader ... ", "Bad address");
}

struct SimulatorRow {
  const char* name;
  std::vector<std::string> board;
  std::vector<std::string> arguments;
  std::string output;
  const char* trace;  // a line that must be there, without its time
};

void PrintTo(const SimulatorRow& row, std::ostream* out) { *out << row.name; }

class OnTheSimulatedBoard : public ::testing::TestWithParam<SimulatorRow> {};

TEST_P(OnTheSimulatedBoard, TheModeSucceeds) {
  SimulatedBoard board(GetParam().board);
  std::vector<std::string> arguments = GetParam().arguments;
  arguments.insert(arguments.begin(), {board.Path(), "1000000"});
  const Outcome outcome = RunUtility(arguments);
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.output, GetParam().output);
  EXPECT_THAT(board.Trace(), HasSubstr(GetParam().trace));
}

INSTANTIATE_TEST_SUITE_P(
    ModesTest, OnTheSimulatedBoard,
    // The board goes by the time between the six bytes of the command.
    ::testing::Values(
        SimulatorRow{"Command", {}, {"--command", "0x110"}, "", "# default parameters restored"},
        SimulatorRow{"Send", {"--serial", "S"}, {"--send", "73"}, "S\n", "> 73"},
        SimulatorRow{"ApplicationInfo",
                     {"--application-info", "APP"},
                     {"--application_info", "--active_bootloader"},
                     "APP\r\n\0\n"s,
                     "# application started"}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace kvo::bootloadertms::testing
