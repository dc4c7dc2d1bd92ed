// Each command of the command mode on the real program: what goes out on the line, what is shown,
// quiet and verbose, and how the run ends.
#include <gtest/gtest.h>

#include <string>

#include "program/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

const std::string kAlive = "ping_callback_function\r\n";

struct CommandRow {
  const char* name;
  const char* typed;
  const char* progress;
  std::vector<Exchange> exchanges;
  std::string printed;
  std::chrono::milliseconds shortest_time;  // what the pauses of the command take
};

void PrintTo(const CommandRow& row, std::ostream* out) { *out << row.name; }

std::string NameOf(const ::testing::TestParamInfo<CommandRow>& row) { return row.param.name; }

class Command : public UtilityOnALine, public ::testing::WithParamInterface<CommandRow> {};

TEST_P(Command, ShowsItsAnswerAloneWhenQuiet) {
  Start({"--command", GetParam().typed});
  BoardPlays(GetParam().exchanges);
  ExpectSuccess(GetParam().printed);
  EXPECT_GE(RunTime(), GetParam().shortest_time);
}

TEST_P(Command, TellsItsProgressWhenVerbose) {
  Start({"--command", GetParam().typed, "--verbose"});
  BoardPlays(GetParam().exchanges);
  ExpectSuccess(kEntering + GetParam().progress + " [OK]\n" + GetParam().printed + kExiting);
}

INSTANTIATE_TEST_SUITE_P(
    CommandTest, Command,
    ::testing::Values(
        CommandRow{
            "PingBootloader", "0x30", "\nSend BL_CMD_PING (0x30)...", {{"0", "A"}}, "", 50ms},
        CommandRow{"PingBootloaderInTheNinthAttempt",
                   "30",
                   "\nSend BL_CMD_PING (30)...",
                   {{"0", "B"},
                    {"0", "a"},
                    {"0", "U"},
                    {"0", "\0"s},
                    {"0", "\xFF"},
                    {"0", "\r"},
                    {"0", "0"},
                    {"0", "?"},
                    {"0", "A"}},
                   "",
                   450ms},
        CommandRow{"ExecuteApplication",
                   "0x36",
                   "\nSend BL_CMD_EXEC_APP ...",
                   {{"6", ""}, {"0", kAlive}},
                   "",
                   1050ms},
        CommandRow{"HardwareInfo",
                   "0x37",
                   "\nSend BL_CMD_HW_INFO ...",
                   {{"7", "HW 2\r\n"}},
                   "HW 2\r\n\0\n"s,
                   100ms},
        CommandRow{"BootloaderInfo",
                   "0x38",
                   "\nSend BL_CMD_BL_INFO ...",
                   {{"8", "BL 1.4"}},
                   "BL 1.4\0\n"s,
                   100ms},
        CommandRow{"ApplicationInfo",
                   "0x39",
                   "\nSend BL_CMD_APP_INFO ...",
                   {{"9", "\n"}},
                   "\n\0\n"s,
                   100ms},
        CommandRow{"ActivateBootloader",
                   "0x51",
                   "\nSend APP_ACTIVE_BOOTLOADER ...",
                   {{"Q", ""}, {"\x18\x18", ""}, {"0", "A"}},
                   "",
                   1150ms},
        CommandRow{
            "PingApplication", "0x52", "\nSend APP_PING ...", {{"0", "log: " + kAlive}}, "", 50ms},
        CommandRow{"SafeBootStatus",
                   "0x62",
                   "\nSend APP_CMD_SAFE_BOOT_STATUS ...",
                   {{"b", "\0safe\r\n boot\r\n"s}},
                   "safe boot\n",
                   100ms},
        CommandRow{
            "BootloaderDeviceInfo",
            "0x100",
            "\nSend BL_CMD_DEVICE_INFO ...",
            {{"s", "S1\r\n"}, {"h", "U\r\n"}, {"p", "U1\n"}, {"V", "upper"}, {"v", "lower\0"s}},
            "S1\n\nU1\nlower\n",
            500ms},
        CommandRow{"RestoreDefaultParameters",
                   "0x110",
                   "\nSend RESTORE_DEFAULT_PARAMTERS ...",
                   {{"Q", ""}, {"6", ""}, {"t", ""}, {"C", ""}, {"R", ""}, {"L", ""}},
                   "",
                   500ms},
        CommandRow{"ApplicationDeviceInfo",
                   "0x200",
                   "\nSend APP_CMD_DEVICE_INFO ...",
                   {{"b", "BOOT OK\r\n"},
                    {"s", "S2\r\n"},
                    {"h", "U\r\n"},
                    {"p", "P2\n"},
                    {"V", "upper"},
                    {"v", "lower"}},
                   "S2\nU\nP2\nlower\n",
                   520ms}),
    NameOf);

struct FailureRow {
  const char* name;
  const char* typed;
  const char* progress;
  std::vector<Exchange> exchanges;
  const char* message;
};

void PrintTo(const FailureRow& row, std::ostream* out) { *out << row.name; }

std::string FailureNameOf(const ::testing::TestParamInfo<FailureRow>& row) {
  return row.param.name;
}

class CommandFailure : public UtilityOnALine, public ::testing::WithParamInterface<FailureRow> {};

TEST_P(CommandFailure, IsToldAloneWhenQuiet) {
  Start({"--command", GetParam().typed});
  BoardPlays(GetParam().exchanges);
  ExpectFailure("", GetParam().message);
}

TEST_P(CommandFailure, IsMarkedWhenVerbose) {
  Start({"--command", GetParam().typed, "--verbose"});
  BoardPlays(GetParam().exchanges);
  ExpectFailure(kEntering + GetParam().progress + " [KO]", GetParam().message);
}

const std::string kSixtyPings(60, '0');
constexpr const char* kSilentBootloader = "Bootloader doesn't respond. Exiting";
constexpr const char* kSilentApplication = "Application doesn't respond. Exiting";
constexpr const char* kInvalidToBootloader =
    "Invalid response (bootloader is probably not activated or command is not implemented). "
    "Exiting";
constexpr const char* kInvalidToApplication =
    "Invalid response (application is probably not activated or command is not implemented). "
    "Exiting";

INSTANTIATE_TEST_SUITE_P(
    CommandTest, CommandFailure,
    ::testing::Values(
        FailureRow{"SilentBootloader",
                   "0X30",
                   "\nSend BL_CMD_PING (0X30)...",
                   {{"000000000", ""}},
                   "Bootloader doesn't respond. Exiting  "},
        FailureRow{"ApplicationThatDoesNotStart",
                   "0x36",
                   "\nSend BL_CMD_EXEC_APP ...",
                   {{"6", ""}, {kSixtyPings, ""}},
                   kSilentApplication},
        FailureRow{"HardwareInfoWithoutAnAnswer",
                   "0x37",
                   "\nSend BL_CMD_HW_INFO ...",
                   {{"7", ""}},
                   kInvalidToBootloader},
        FailureRow{"BootloaderInfoWithASemicolon",
                   "0x38",
                   "\nSend BL_CMD_BL_INFO ...",
                   {{"8", "OK;"}},
                   kInvalidToBootloader},
        FailureRow{"ApplicationInfoWithASemicolonBehindANulByte",
                   "0x39",
                   "\nSend BL_CMD_APP_INFO ...",
                   {{"9", "OK\0;OK\r\n"s}},
                   kInvalidToBootloader},
        FailureRow{"CalibrationThatDoesNotStart",
                   "0x4B",
                   "\nSend APP_CALIB ...",
                   {{"K", ""}},
                   "Calibration failed. Exiting"},
        FailureRow{"CalibrationThatIsAnsweredByOtherText",
                   "4b",
                   "\nSend APP_CALIB ...",
                   {{"K", "KVO_CMD_CALIBRAT---"}},
                   "Calibration failed. Exiting"},
        FailureRow{"SilentBootloaderBehindItsActivation",
                   "0x51",
                   "\nSend APP_ACTIVE_BOOTLOADER ...",
                   {{"Q", ""}, {"\x18\x18", ""}, {"000000000", ""}},
                   kSilentBootloader},
        FailureRow{"SilentApplication",
                   "0x52",
                   "\nSend APP_PING ...",
                   {{kSixtyPings, ""}},
                   kSilentApplication},
        FailureRow{"SafeBootStatusWithoutAnAnswer",
                   "0x62",
                   "\nSend APP_CMD_SAFE_BOOT_STATUS ...",
                   {{"b", ""}},
                   kInvalidToApplication},
        FailureRow{"SafeBootStatusOfLineEndsAlone",
                   "0x62",
                   "\nSend APP_CMD_SAFE_BOOT_STATUS ...",
                   {{"b", "\r\n"}},
                   kInvalidToApplication},
        FailureRow{"SafeBootStatusWithASemicolon",
                   "0x62",
                   "\nSend APP_CMD_SAFE_BOOT_STATUS ...",
                   {{"b", ";safe"}},
                   kInvalidToApplication},
        FailureRow{"ApplicationDeviceInfoWithoutABootStatus",
                   "0x200",
                   "\nSend APP_CMD_DEVICE_INFO ...",
                   {{"b", "\r\n\r\n"}},
                   "Application doesn't respond or boot status command not "
                   "implemented !"},
        FailureRow{"CodeThatIsNone",
                   "0x31",
                   "\nSend CMD (0x31)...",
                   {},
                   "Command not implemented. Exiting"},
        FailureRow{"CodeWhoseLowByteIsACommand",
                   "0x130",
                   "\nSend CMD (0x130)...",
                   {},
                   "Command not implemented. Exiting"},
        FailureRow{
            "NegativeCode", "-1", "\nSend CMD (-1)...", {}, "Command not implemented. Exiting"},
        FailureRow{"CodeThatEndsAtALetter",
                   "0x4K",
                   "\nSend CMD (0x4K)...",
                   {},
                   "Command not implemented. Exiting"}),
    FailureNameOf);

class CommandTest : public UtilityOnALine {};

TEST_F(CommandTest, SilentBootloaderOfADeviceInfoLeavesItsFieldsEmpty) {
  Start({"--command", "0x100", "--verbose"});
  BoardPlays({{"s", ""}, {"h", ""}, {"p", ""}, {"V", ""}, {"v", ""}});
  ExpectSuccess(kEntering + "\nSend BL_CMD_DEVICE_INFO ... [OK]\n\n\n\n\n" + kExiting);
  EXPECT_GE(RunTime(), 1000ms) << "five pauses and five reads of 100 ms each";
}

TEST_F(CommandTest, AQuestionThatCannotBeAnsweredYetIsAskedAgain) {
  Start({"--command", "0x100"});
  BoardPlays({{"s", "Cannot\r\n"},
              {"s", "scan"},
              {"s", "CAN"},
              {"s", "cAn"},
              {"h", "signature"},
              {"p", "P"},
              {"V", "CAN"},
              {"V", ""},
              {"v", "can"},
              {"v", "1.0"}});
  ExpectSuccess("cAn\nsignature\nP\n1.0\n");
}

TEST_F(CommandTest, TheBootStatusIsAskedAgainForASignatureToo) {
  Start({"--command", "0x200"});
  BoardPlays({{"b", "signature 1\r\n"},
              {"b", "no signature"},
              {"b", "Can't"},
              {"b", "OK"},
              {"s", "signature"},
              {"h", "H"},
              {"p", ""},
              {"V", "V"},
              {"v", "v"}});
  ExpectSuccess("signature\nH\n\nv\n");
}

TEST_F(CommandTest, AnApplicationThatAnswersOnlyTheLastPingCountsAsSilent) {
  Start({"--command", "0x52"});
  for (int attempt = 1; attempt < 60; ++attempt) {
    BoardPlays({{"0", "ping_callback_functio"}});
  }
  BoardPlays({{"0", kAlive}});
  ExpectFailure("", kSilentApplication);
  EXPECT_GE(RunTime(), 3000ms);
}

TEST_F(CommandTest, AnApplicationThatAnswersTheLastPingButOneIsAlive) {
  Start({"--command", "0x52"});
  for (int attempt = 1; attempt < 59; ++attempt) {
    BoardPlays({{"0", "x"}});
  }
  BoardPlays({{"0", kAlive}});
  ExpectSuccess("");
}

TEST_F(CommandTest, WhatTheApplicationSendsWhileItSwitchesIsNoAnswerToAPing) {
  Start({"--command", "0x51"});
  BoardPlays({{"Q", "AAAA"}, {"\x18\x18", ""}, {"000000000", ""}});
  ExpectFailure("", kSilentBootloader);
}

TEST_F(CommandTest, WhatTheBootloaderSendsWhileItStartsTheApplicationIsNoAnswerToAPing) {
  Start({"--command", "0x36"});
  BoardPlays({{"6", kAlive}, {"0", "starting"}, {"0", kAlive}});
  ExpectSuccess("");
}

TEST_F(CommandTest, AMarkerInTwoReadsIsNotRecognised) {
  Start({"--command", "0x52"});
  BoardPlays({{"0", "ping_callback_"}, {"0", "function"}, {"0", kAlive}});
  ExpectSuccess("");
}

TEST_F(CommandTest, ModifiersAreIgnored) {
  Start({"--command", "0x30", "--active_bootloader", "--active_application", "--application_info"});
  BoardPlays({{"0", "A"}});
  ExpectSuccess("");
}

TEST_F(CommandTest, ACommandComesBeforeAByteToSend) {
  Start({"--send", "41", "--command", "30"});
  BoardPlays({{"0", "A"}});
  ExpectSuccess("");
}

TEST_F(CommandTest, TheFirstOfTwoCommandsCounts) {
  Start({"--command", "0x30zz", "--command", "0x37", "--verbose"});
  BoardPlays({{"0", "A"}});
  ExpectSuccess(kEntering + "\nSend BL_CMD_PING (0x30zz)... [OK]\n" + kExiting);
}

TEST_F(CommandTest, BlanksBeforeACodeAreSkippedAndShown) {
  Start({"--command", " \t30", "--verbose"});
  BoardPlays({{"0", "A"}});
  ExpectSuccess(kEntering + "\nSend BL_CMD_PING ( \t30)... [OK]\n" + kExiting);
}

TEST_F(CommandTest, ACommandWithoutACodeIsAnErrorWithoutAMark) {
  Start({"--verbose", "--command"});
  ExpectFailure(kEntering, "No command specified. Exiting");
}

TEST_F(CommandTest, ACodeThatIsNoNumberIsAnErrorWithoutAMark) {
  Start({"--command", "zz", "--verbose"});
  ExpectFailure(kEntering, "Invalid command : zz");
}

TEST_F(CommandTest, TheNextSwitchIsTakenAsTheCode) {
  Start({"--command", "--verbose"});
  ExpectFailure(kEntering, "Invalid command : --verbose");
}

TEST_F(CommandTest, ALineThatVanishesIsASystemErrorWithAMark) {
  Start({"--command", "0x51", "--verbose"});
  BoardGets("Q");
  terminal_.HangUp();
  ExpectFailure(kEntering + "\nSend APP_ACTIVE_BOOTLOADER ... [KO]", "Bad address");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
