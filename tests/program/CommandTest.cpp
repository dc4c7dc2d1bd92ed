// The command mode on the real program: what goes out on the line, what is shown, quiet and
// verbose, and how the run ends.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "program/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

class EachCommand : public UtilityOnALine, public ::testing::WithParamInterface<Command> {};

TEST_P(EachCommand, ShowsItsAnswerAloneWhenQuiet) {
  Start({"--command", Typed(GetParam().code)});
  BoardPlays(GetParam().exchanges);
  ExpectSuccess(GetParam().printed);
  EXPECT_GE(RunTime(), GetParam().pauses);
}

TEST_P(EachCommand, TellsItsProgressWhenVerbose) {
  Start({"--command", Typed(GetParam().code), "--verbose"});
  BoardPlays(GetParam().exchanges);
  ExpectSuccess(kEntering + GetParam().progress +
                (GetParam().prints_while_it_runs ? GetParam().printed + " [OK]\n"
                                                 : " [OK]\n" + GetParam().printed) +
                kExiting);
}

INSTANTIATE_TEST_SUITE_P(CommandTest, EachCommand, ::testing::ValuesIn(Commands()),
                         [](const auto& row) { return row.param.name; });

struct FailureRow {
  const char* name;
  std::uint32_t code;
  std::vector<Exchange> exchanges;
  const char* message;
};

void PrintTo(const FailureRow& row, std::ostream* out) { *out << row.name; }

class CommandFailure : public UtilityOnALine, public ::testing::WithParamInterface<FailureRow> {};

TEST_P(CommandFailure, IsMarkedWhenVerbose) {
  const auto command = std::ranges::find(Commands(), GetParam().code, &Command::code);
  Start({"--command", Typed(GetParam().code), "--verbose"});
  BoardPlays(GetParam().exchanges);
  ExpectFailure(kEntering + command->progress + " [KO]", GetParam().message);
}

const std::string kSixtyPings(60, '0');
constexpr const char* kInvalidToBootloader =
    "Invalid response (bootloader is probably not activated or command is not implemented). "
    "Exiting";
constexpr const char* kInvalidToApplication =
    "Invalid response (application is probably not activated or command is not implemented). "
    "Exiting";

INSTANTIATE_TEST_SUITE_P(
    CommandTest, CommandFailure,
    ::testing::Values(
        FailureRow{
            "SilentBootloader", 0x30, {{"000000000", ""}}, "Bootloader doesn't respond. Exiting  "},
        FailureRow{"ApplicationThatDoesNotStart",
                   0x36,
                   {{"6", ""}, {kSixtyPings, ""}},
                   "Application doesn't respond. Exiting"},
        FailureRow{"HardwareInfoWithoutAnAnswer", 0x37, {{"7", ""}}, kInvalidToBootloader},
        FailureRow{"BootloaderInfoWithASemicolon", 0x38, {{"8", "OK;"}}, kInvalidToBootloader},
        FailureRow{"ApplicationInfoWithASemicolonAfterANulByte",
                   0x39,
                   {{"9", "OK\0;OK\r\n"s}},
                   kInvalidToBootloader},
        FailureRow{"CalibrationThatDoesNotStart", 0x4B, {{"K", ""}}, "Calibration failed. Exiting"},
        FailureRow{"SilentBootloaderAfterItsActivation",
                   0x51,
                   {{"Q", ""}, {"\x18\x18", ""}, {"000000000", ""}},
                   "Bootloader doesn't respond. Exiting"},
        FailureRow{
            "SilentApplication", 0x52, {{kSixtyPings, ""}}, "Application doesn't respond. Exiting"},
        FailureRow{"SafeBootStatusOfLineEndsAlone", 0x62, {{"b", "\r\n"}}, kInvalidToApplication},
        FailureRow{"ApplicationDeviceInfoWithoutABootStatus",
                   0x200,
                   {{"b", "\r\n\r\n"}},
                   "Application doesn't respond or boot status command not implemented !"}),
    [](const auto& row) { return row.param.name; });

class CommandTest : public UtilityOnALine {};

TEST_F(CommandTest, AQuietFailureIsItsReportAlone) {
  Start({"--command", "0x37"});
  BoardPlays({{"7", ""}});
  ExpectFailure("", kInvalidToBootloader);
}

TEST_F(CommandTest, ACodeThatIsNoneSendsNothing) {
  for (const std::string typed : {"0x31", "0x130", "-1", "0x4K"}) {
    Start({"--command", typed, "--verbose"});
    ExpectFailure(kEntering + "\nSend CMD (" + typed + ")... [KO]",
                  "Command not implemented. Exiting");
  }
}

TEST_F(CommandTest, TheFirstCodeCountsAndIsShownAsItWasTyped) {
  Start({"--command", " \t30zz", "--command", "0x37", "--verbose"});
  BoardPlays({{"0", "A"}});
  ExpectSuccess(kEntering + "\nSend BL_CMD_PING ( \t30zz)... [OK]\n" + kExiting);
}

TEST_F(CommandTest, TheNextSwitchIsTakenAsTheCodeAndNothingIsMarked) {
  Start({"--command", "--verbose"});
  ExpectFailure(kEntering, "Invalid command : --verbose");
}

TEST_F(CommandTest, ABootloaderMayAnswerTheNinthPing) {
  Start({"--command", "0x30"});
  BoardPlays({{"0", "B"},
              {"0", "a"},
              {"0", "U"},
              {"0", "\0"s},
              {"0", "\xFF"},
              {"0", "\r"},
              {"0", "0"},
              {"0", "?"},
              {"0", "A"}});
  ExpectSuccess("");
  EXPECT_GE(RunTime(), 450ms);
}

TEST_F(CommandTest, WhatTheApplicationSendsWhileItSwitchesIsNoAnswerToAPing) {
  Start({"--command", "0x51"});
  BoardPlays({{"Q", "AAAA"}, {"\x18\x18", ""}, {"000000000", ""}});
  ExpectFailure("", "Bootloader doesn't respond. Exiting");
}

TEST_F(CommandTest, ALineThatVanishesIsASystemErrorWithAMark) {
  Start({"--command", "0x51", "--verbose"});
  BoardGets("Q");
  terminal_.HangUp();
  ExpectFailure(kEntering + "\nSend APP_ACTIVE_BOOTLOADER ... [KO]", "Bad address");
}

const std::string kCalibrating = "\nKVO_CMD_CALIBRATE\r\n\0\n"s;

TEST_F(CommandTest, TheProgressOfACalibrationIsNeverShown) {
  Start({"--command", "0x4B", "--verbose"});
  const std::string shown = kEntering + "\nSend APP_CALIB ..." + kCalibrating;
  BoardPlays({{"K", "KVO_CMD_CALIBRATE\r\n"}});
  UtilityShows(shown);
  BoardPlays({{"", "10 %\r\n"}, {"", "100 %\r\n---\r\n"}});
  ExpectSuccess(shown + " [OK]\n" + kExiting);
}

TEST_F(CommandTest, ACalibrationThatDoesNotFinishFailsAfter120Seconds) {
  StartInFastTime({"--command", "0x4B"});
  BoardPlays({{"K", "KVO_CMD_CALIBRATE\r\n"}});
  UtilityShows(kCalibrating);
  BoardRepeatsUntilTheUtilityEnds("10 %\r\n--");
  ExpectFailure(kCalibrating, "Calibration failed. Exiting");
  EXPECT_GE(RunTime(), 120'000ms / 40) << "the utility's clock runs 40 times as fast";
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
