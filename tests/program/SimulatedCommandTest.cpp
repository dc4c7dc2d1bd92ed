// Each command of the real program on the simulated board, which answers as its options tell.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <string>

#include "program/Programs.h"
#include "program/UploadTexts.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::string_literals;
using ::testing::HasSubstr;

struct CommandRow {
  const char* name;
  std::vector<std::string> board;
  std::vector<std::string> arguments;
  std::string output;
  std::vector<const char*> trace;  // lines that must be there, without their times
};

void PrintTo(const CommandRow& row, std::ostream* out) { *out << row.name; }

std::string NameOf(const ::testing::TestParamInfo<CommandRow>& row) { return row.param.name; }

class SimulatedCommand : public ::testing::TestWithParam<CommandRow> {};

TEST_P(SimulatedCommand, IsAnswered) {
  PreferThisProcess();
  SimulatedBoard board(GetParam().board);
  std::vector<std::string> arguments = GetParam().arguments;
  arguments.insert(arguments.begin(), {board.Path(), "1000000"});
  const Outcome outcome = RunUtility(arguments);
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.output, GetParam().output);
  const std::string trace = board.Trace();
  for (const char* line : GetParam().trace) {
    EXPECT_THAT(trace, HasSubstr(line));
  }
}

bool DefaultParametersAreRestored() {
  SimulatedBoard board({});
  const Outcome outcome = RunUtility({board.Path(), "1000000", "--command", "0x110"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.output, "");
  const std::string trace = board.Trace();
  std::cout << trace;
  return trace.find("# default parameters restored") != std::string::npos;
}

// The board goes by the time between the bytes.
TEST(SimulatedCommandTest, RestoreDefaultParameters) {
  EXPECT_TRUE(ComesThrough(DefaultParametersAreRestored)) << "each time the board objects";
}

const std::vector<std::string> kTalkative = {
    "--state",           "bootloader", "--hardware-info",    "HW",
    "--bootloader-info", "BL",         "--application-info", "APP",
    "--serial",          "S",          "--hardware",         "H",
    "--product",         "P",          "--version-upper",    "UPPER",
    "--version-lower",   "lower"};

INSTANTIATE_TEST_SUITE_P(
    SimulatedCommandTest, SimulatedCommand,
    ::testing::Values(
        CommandRow{"PingBootloader", kTalkative, {"--command", "0x30"}, "", {"> 30", "< 41"}},
        CommandRow{
            "ExecuteApplication", kTalkative, {"--command", "0x36"}, "", {"# application started"}},
        CommandRow{"HardwareInfo", kTalkative, {"--command", "0x37"}, "HW\r\n\0\n"s, {"> 37"}},
        CommandRow{"BootloaderInfo", kTalkative, {"--command", "0x38"}, "BL\r\n\0\n"s, {"> 38"}},
        CommandRow{"ApplicationInfo", kTalkative, {"--command", "0x39"}, "APP\r\n\0\n"s, {"> 39"}},
        CommandRow{"Calibration",
                   {"--calibration-lines", "0", "--calibration-interval", "3000"},
                   {"--command", "0x4B"},
                   "\nKVO_CMD_CALIBRATE\r\n\0\n"s,
                   {"> 4b", "# calibration finished"}},
        CommandRow{"ActivateBootloader", {}, {"--command", "0x51"}, "", {"# bootloader started"}},
        CommandRow{"PingApplication", {}, {"--command", "0x52"}, "", {"> 30"}},
        CommandRow{
            "SafeBootStatus", {"--boot-status", "SAFE"}, {"--command", "0x62"}, "SAFE\n", {"> 62"}},
        CommandRow{"BootloaderDeviceInfo",
                   kTalkative,
                   {"--command", "0x100"},
                   "S\nH\nP\nlower\n",
                   {"> 73", "> 68", "> 70", "> 56", "> 76"}},
        CommandRow{"BootloaderDeviceInfoAskedAgain",
                   {"--state", "bootloader", "--serial", "S", "--unknown", "h", "--product", "P",
                    "--version-lower", "v", "--ask-again", "Cannot@s/2", "--ask-again", "CAN@v"},
                   {"--command", "0x100"},
                   "S\n\nP\nv\n",
                   {}},
        CommandRow{"ApplicationDeviceInfo",
                   {"--serial", "S", "--hardware", "U", "--product", "P", "--version-lower", "v",
                    "--ask-again", "signature@b/2"},
                   {"--command", "0x200"},
                   "S\nU\nP\nv\n",
                   {"> 62"}},
        CommandRow{"Send", kTalkative, {"--send", "73"}, "S\n", {"> 73"}},
        CommandRow{"SendOfAnAnswerOfItsOwn",
                   {"--answer", "0x7A=\\x01\\0two\\r\\nlines"},
                   {"--send", "7A"},
                   "\x01twolines\n",
                   {"> 7a"}},
        CommandRow{"ApplicationInfoMode",
                   {"--application-info", "APP", "--line-end", "none"},
                   {"--application_info", "--active_bootloader"},
                   "APP\0\n"s,
                   {"# bootloader started", "# application started"}},
        CommandRow{"LateAnswer",
                   {"--state", "bootloader", "--answer-delay", "50", "--hardware-info", "late"},
                   {"--command", "0x37"},
                   "late\r\n\0\n"s,
                   {}},
        CommandRow{"AnswerInPieces",
                   {"--state", "bootloader", "--pieces", "2:5", "--hardware-info", "pieces"},
                   {"--command", "0x37"},
                   "pieces\r\n\0\n"s,
                   {}},
        CommandRow{"LongAnswer",
                   {"--state", "bootloader", "--hardware-info", std::string(300, 'x')},
                   {"--command", "0x37"},
                   std::string(255, 'x') + "\0\n"s,
                   {}}),
    NameOf);

TEST(SimulatedCommandTest, ACommandThatTheBootloaderDoesNotKnowIsPrintedAsItIs) {
  SimulatedBoard board({"--state", "bootloader", "--unknown", "7"});
  const Outcome outcome = RunUtility({board.Path(), "1000000", "--command", "0x37"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.output, "U\r\n\0\n"s);
}

TEST(SimulatedCommandTest, AByteThatTheBootloaderDoesNotKnowIsAnError) {
  SimulatedBoard board({"--state", "bootloader"});
  const Outcome outcome = RunUtility({board.Path(), "1000000", "--send", "7A"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output, Failure("Invalid command. Exiting"));
}

TEST(SimulatedCommandTest, ARefusedCalibrationFails) {
  SimulatedBoard board({"--calibration-refused"});
  const Outcome outcome = RunUtility({board.Path(), "1000000", "--command", "0x4B"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output, Failure("Calibration failed. Exiting"));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
