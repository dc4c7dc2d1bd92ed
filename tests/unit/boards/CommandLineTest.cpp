#include "boards/CommandLine.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "support/Output.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::CapturedStream;
using std::chrono::milliseconds;
using ArgumentList = std::vector<std::string>;

struct ParsedLine {
  std::optional<int> status;
  std::string output;
  std::string error;
  CommandLine line;
};

ParsedLine ParseArguments(const ArgumentList& arguments) {
  std::vector<const char*> argv = {"kvo-boards"};
  for (const std::string& argument : arguments) {
    argv.push_back(argument.c_str());
  }
  const CapturedStream output(std::cout);
  const CapturedStream error(std::cerr);
  ParsedLine parsed;
  parsed.status = ParseCommandLine(static_cast<int>(argv.size()), argv.data(), parsed.line);
  parsed.output = output.Text();
  parsed.error = error.Text();
  return parsed;
}

// A command line that is right.
CommandLine LineOf(const ArgumentList& arguments) {
  const ParsedLine parsed = ParseArguments(arguments);
  EXPECT_EQ(parsed.status, std::nullopt) << ::testing::PrintToString(arguments);
  EXPECT_EQ(parsed.output + parsed.error, "");
  return parsed.line;
}

CommandLine FlashWith(ArgumentList options) {
  options.insert(options.begin(), "flash");
  options.insert(options.end(), {"fw_tv.bin", "/dev/ttyUSB0"});
  return LineOf(options);
}

ArgumentList PortNames(const CommandLine& line) {
  ArgumentList names;
  for (const PortAddress& port : line.ports) {
    names.push_back(port.name);
  }
  return names;
}

TEST(CommandLineTest, WithoutOptionsAllHasItsDefault) {
  const CommandLine line = LineOf({"flash", "fw_tv.bin", "/dev/ttyUSB0", "tcp:[::1]:4000"});
  EXPECT_EQ(line.action, Action::kFlash);
  EXPECT_EQ(line.image, "fw_tv.bin");
  EXPECT_EQ(PortNames(line), (ArgumentList{"/dev/ttyUSB0", "tcp:[::1]:4000"}));
  EXPECT_EQ(line.ports.at(1).host, "::1");
  EXPECT_EQ(line.baud_rate, 1000000U);
  EXPECT_EQ(line.record, ArgumentList{});
  EXPECT_TRUE(line.switch_to_bootloader);
  EXPECT_TRUE(line.start_application);
  EXPECT_EQ(line.deadline, std::nullopt);
  EXPECT_EQ(line.answer_timeout, std::nullopt);
  EXPECT_EQ(line.attempts, 1);
  EXPECT_EQ(line.jobs, 0U);
  EXPECT_FALSE(line.dry_run);
  EXPECT_FALSE(line.raw);
  EXPECT_EQ(line.log_folder, "");
  EXPECT_FALSE(line.trace);
  EXPECT_EQ(line.progress, Progress::kAuto);
  EXPECT_EQ(line.color, Color::kAuto);
  EXPECT_FALSE(line.json);
  EXPECT_FALSE(line.quiet);
}

TEST(CommandLineTest, EachOptionOfFlashHasItsEffect) {
  for (const std::uint32_t rate : {9600U, 19200U, 38400U, 57600U, 115200U, 1000000U}) {
    EXPECT_EQ(FlashWith({"--baud", std::to_string(rate)}).baud_rate, rate);
  }
  EXPECT_EQ(FlashWith({"--record", "A", "-b", ""}).record, (ArgumentList{"A", "-b", ""}));
  EXPECT_FALSE(FlashWith({"--no-switch"}).switch_to_bootloader);
  EXPECT_FALSE(FlashWith({"--no-start"}).start_application);
  EXPECT_EQ(FlashWith({"--answer-timeout", "1"}).answer_timeout, milliseconds(1));
  EXPECT_EQ(FlashWith({"--answer-timeout", "25500"}).answer_timeout, milliseconds(25500));
  EXPECT_EQ(FlashWith({"--attempts", "1000"}).attempts, 1000);
  EXPECT_EQ(FlashWith({"--jobs", "4"}).jobs, 4U);
  EXPECT_TRUE(FlashWith({"--dry-run"}).dry_run);
  EXPECT_TRUE(FlashWith({"--raw"}).raw);
  EXPECT_EQ(FlashWith({"--log-dir", "logs"}).log_folder, "logs");
  EXPECT_TRUE(FlashWith({"--trace", "--log-dir=logs"}).trace);
  EXPECT_EQ(FlashWith({"--progress", "auto"}).progress, Progress::kAuto);
  EXPECT_EQ(FlashWith({"--progress", "bars"}).progress, Progress::kBars);
  EXPECT_EQ(FlashWith({"--progress", "lines"}).progress, Progress::kLines);
  EXPECT_EQ(FlashWith({"--progress", "none"}).progress, Progress::kNone);
  EXPECT_EQ(FlashWith({"--color", "auto"}).color, Color::kAuto);
  EXPECT_EQ(FlashWith({"--color", "always"}).color, Color::kAlways);
  EXPECT_EQ(FlashWith({"--color", "never"}).color, Color::kNever);
  EXPECT_TRUE(FlashWith({"--json"}).json);
  EXPECT_TRUE(FlashWith({"--quiet"}).quiet);
}

TEST(CommandLineTest, ADeadlineMayHaveAFractionAndIsNeverRoundedToNone) {
  EXPECT_EQ(FlashWith({"--deadline", "90"}).deadline, milliseconds(90000));
  EXPECT_EQ(FlashWith({"--deadline", "0.5"}).deadline, milliseconds(500));
  EXPECT_EQ(FlashWith({"--deadline", "0.0001"}).deadline, milliseconds(1));
  EXPECT_EQ(FlashWith({"--deadline", "0"}).deadline, milliseconds(0));
  EXPECT_EQ(FlashWith({"--deadline", "1000000"}).deadline, milliseconds(1000000000));
}

TEST(CommandLineTest, InfoHasPortsAndAllOptionsThatConcernIt) {
  const CommandLine line =
      LineOf({"info",         "--baud",      "9600",    "--deadline", "2",      "--answer-timeout",
              "300",          "--jobs",      "2",       "--log-dir",  "logs",   "--trace",
              "--progress",   "lines",       "--color", "never",      "--json", "--quiet",
              "/dev/ttyUSB0", "/dev/ttyUSB1"});
  EXPECT_EQ(line.action, Action::kInfo);
  EXPECT_EQ(PortNames(line), (ArgumentList{"/dev/ttyUSB0", "/dev/ttyUSB1"}));
  EXPECT_EQ(line.baud_rate, 9600U);
  EXPECT_EQ(line.deadline, milliseconds(2000));
  EXPECT_EQ(line.answer_timeout, milliseconds(300));
  EXPECT_EQ(line.jobs, 2U);
  EXPECT_EQ(line.log_folder, "logs");
  EXPECT_TRUE(line.trace);
  EXPECT_EQ(line.progress, Progress::kLines);
  EXPECT_EQ(line.color, Color::kNever);
  EXPECT_TRUE(line.json);
  EXPECT_TRUE(line.quiet);
}

TEST(CommandLineTest, OptionsMayStandAnywhereAfterTheCommand) {
  const CommandLine line = LineOf({"flash", "--json", "info", "--jobs=2", "flash", "--record", "A",
                                   "B", "C", "[a,b]", "--raw"});
  EXPECT_EQ(line.image, "info");
  EXPECT_EQ(PortNames(line), (ArgumentList{"flash", "[a,b]"}));
  EXPECT_EQ(line.record, (ArgumentList{"A", "B", "C"}));
  EXPECT_EQ(line.jobs, 2U);
  EXPECT_TRUE(line.json);
  EXPECT_TRUE(line.raw);
}

TEST(CommandLineTest, TwoHyphensEndTheOptions) {
  const CommandLine flash = LineOf({"flash", "--json", "--", "--raw", "-1"});
  EXPECT_EQ(flash.image, "--raw");
  EXPECT_EQ(PortNames(flash), ArgumentList{"-1"});
  EXPECT_TRUE(flash.json);
  EXPECT_FALSE(flash.raw);
  EXPECT_EQ(PortNames(LineOf({"info", "a", "--", "--help"})), (ArgumentList{"a", "--help"}));
  EXPECT_TRUE(LineOf({"list", "--all", "--"}).all);
}

TEST(CommandLineTest, AWatchHasThoseOptionsOfAFlashAndItsOwn) {
  const CommandLine line = LineOf({"watch", "--new-only", "--count", "12", "--bell", "--attempts",
                                   "2", "--no-start", "fw_tv.bin", "/dev/ttyUSB*", "a[1,2]"});
  EXPECT_EQ(line.action, Action::kWatch);
  EXPECT_EQ(line.image, "fw_tv.bin");
  EXPECT_EQ(line.patterns, (ArgumentList{"/dev/ttyUSB*", "a[1,2]"}));
  EXPECT_TRUE(line.ports.empty());
  EXPECT_TRUE(line.new_only);
  EXPECT_EQ(line.count, 12U);
  EXPECT_TRUE(line.bell);
  EXPECT_EQ(line.attempts, 2);
  EXPECT_FALSE(line.start_application);
}

TEST(CommandLineTest, AWatchTakesAllBoardsWithoutEndAndInSilence) {
  const CommandLine line = LineOf({"watch", "fw_tv.bin", "*"});
  EXPECT_FALSE(line.new_only);
  EXPECT_EQ(line.count, 0U);
  EXPECT_FALSE(line.bell);
}

struct WrongLine {
  ArgumentList arguments;
  std::string text;
};

void ExpectWrongLines(const std::vector<WrongLine>& rows) {
  for (const auto& [arguments, text] : rows) {
    const ParsedLine parsed = ParseArguments(arguments);
    EXPECT_EQ(parsed.status, 2) << text;
    EXPECT_EQ(parsed.output, "");
    EXPECT_EQ(parsed.error, "kvo-boards: " + text + "\n");
  }
}

TEST(CommandLineTest, AMissingPartIsNamed) {
  const std::string flash = "kvo-boards flash [OPTIONS] IMAGE PORT...";
  ExpectWrongLines({
      {{}, "a command is missing: flash, watch, info or list; see kvo-boards --help"},
      {{"flash"}, "IMAGE is missing; usage: " + flash},
      {{"flash", "--raw"}, "IMAGE is missing; usage: " + flash},
      {{"flash", "fw_tv.bin"}, "PORT is missing; usage: " + flash},
      {{"info"}, "PORT is missing; usage: kvo-boards info [OPTIONS] PORT..."},
      {{"watch", "fw_tv.bin"},
       "PATTERN is missing; usage: kvo-boards watch [OPTIONS] IMAGE PATTERN..."},
      {{"info", "a", "--trace"}, "--trace: requires --log-dir DIR"},
      {{"info", "a", "--jobs"}, "--jobs: must be followed by N"},
      {{"flash", "fw", "a", "--record", "A", "B"}, "--record: must be followed by F1 F2 F3"},
      {{"info", "a", "--log-dir="}, "--log-dir=: no value after the '='"},
      {{"info", "a", "--log-dir", ""}, "--log-dir: the folder's name is empty"},
  });
}

TEST(CommandLineTest, WhatDoesNotExistIsNamed) {
  const std::string see = ": no such option; see kvo-boards flash --help";
  ExpectWrongLines({
      {{"flsh", "fw_tv.bin", "a", "--help"},
       "flsh: no such command, must be flash, watch, info or list; see kvo-boards --help"},
      {{"--json", "flash", "fw_tv.bin", "a"},
       "--json: options come after the command, flash, watch, info or list; see kvo-boards --help"},
      {{"flash", "--bogus"}, "--bogus" + see},
      {{"flash", "fw_tv.bin", "a", "--bogus=1"}, "--bogus=1" + see},
      {{"flash", "fw_tv.bin", "a", "--prog", "none"}, "--prog" + see},
      {{"flash", "fw_tv.bin", "a", "-x"}, "-x" + see},
      {{"flash", "fw_tv.bin", "a", "-1"}, "-1" + see},
      {{"flash", "---raw", "fw_tv.bin", "a"}, "---raw" + see},
      {{"info", "a", "--raw"}, "--raw: no such option; see kvo-boards info --help"},
      {{"list", "--", "ttyUSB0"}, "ttyUSB0: unexpected argument; see kvo-boards list --help"},
  });
}

TEST(CommandLineTest, AnOptionGivenTwiceIsRefused) {
  ExpectWrongLines({
      {{"info", "a", "--jobs", "1", "--jobs=1"}, "--jobs: given more than once"},
      {{"info", "a", "--json", "--json"}, "--json: given more than once"},
      {{"flash", "fw", "a", "--record", "A", "B", "C", "--record", "A", "B", "C"},
       "--record: given more than once"},
  });
}

TEST(CommandLineTest, AWrongValueIsNamedWithWhatItMustBe) {
  const std::string no_attempts = " is not a whole number from 1 to 1000";
  const std::string no_answer = " is not a whole number from 1 to 25500";
  const std::string no_jobs = " is not a whole number from 1 to 1000000";
  const std::string no_seconds = " is not a number of seconds from 0 to 1000000, such as 90 or 0.5";
  const std::string no_speed =
      " is not supported: must be 9600, 19200, 38400, 57600, 115200 or 1000000";
  ExpectWrongLines({
      {{"info", "a", "--baud", "4800"}, "--baud: 4800" + no_speed},
      {{"info", "a", "--baud", "fast"}, "--baud: fast" + no_speed},
      {{"info", "a", "--baud", ""}, "--baud: an empty text" + no_speed},
      {{"flash", "fw", "a", "--attempts", "0"}, "--attempts: 0" + no_attempts},
      {{"flash", "fw", "a", "--attempts", "1001"}, "--attempts: 1001" + no_attempts},
      {{"info", "a", "--answer-timeout", "0"}, "--answer-timeout: 0" + no_answer},
      {{"info", "a", "--answer-timeout", "25501"}, "--answer-timeout: 25501" + no_answer},
      {{"info", "a", "--jobs", "0"}, "--jobs: 0" + no_jobs},
      {{"info", "a", "--jobs", "-1"}, "--jobs: -1" + no_jobs},
      {{"info", "a", "--jobs", "+1"}, "--jobs: +1" + no_jobs},
      {{"info", "a", "--jobs", "1.5"}, "--jobs: 1.5" + no_jobs},
      {{"info", "a", "--jobs", "0x10"}, "--jobs: 0x10" + no_jobs},
      {{"watch", "fw", "*", "--count", "0"}, "--count: 0" + no_jobs},
      {{"info", "a", "--jobs", "4294967297"}, "--jobs: 4294967297" + no_jobs},
      {{"info", "a", "--deadline", "-1"}, "--deadline: -1" + no_seconds},
      {{"info", "a", "--deadline", "inf"}, "--deadline: inf" + no_seconds},
      {{"info", "a", "--deadline", "nan"}, "--deadline: nan" + no_seconds},
      {{"info", "a", "--deadline", "1e3"}, "--deadline: 1e3" + no_seconds},
      {{"info", "a", "--deadline", "1.2.3"}, "--deadline: 1.2.3" + no_seconds},
      {{"info", "a", "--deadline", "1000000.1"}, "--deadline: 1000000.1" + no_seconds},
      {{"info", "a", "--progress", "all"}, "--progress: all is not one of auto, bars, lines, none"},
      {{"info", "a", "--color", "Auto"}, "--color: Auto is not one of auto, always, never"},
      {{"info", "a", "--json=false"}, "--json: takes no value"},
  });
}

TEST(CommandLineTest, AWrongPortIsNamed) {
  ExpectWrongLines({
      {{"info", "tcp:host"}, "tcp:host: no port number"},
      {{"watch", "fw", "tcp:host:4000"}, "tcp:host:4000: only paths can be watched"},
      {{"info", "a", "b", "a"}, "a is given twice"},
      {{"info", "a\nb\x1b[2J", "a\nb\x1b[2J"}, "a\\x0ab\\x1b[2J is given twice"},
  });
}

TEST(CommandLineTest, TheVersionIsToldWithAndWithoutACommand) {
  for (const ArgumentList& arguments :
       {ArgumentList{"--version"}, ArgumentList{"flash", "--version"},
        ArgumentList{"info", "--version"}}) {
    const ParsedLine parsed = ParseArguments(arguments);
    EXPECT_EQ(parsed.status, 0);
    EXPECT_EQ(parsed.output, "kvo-boards 0.2.0\n");
    EXPECT_EQ(parsed.error, "");
  }
}

// The options that help lists, with their values; a line is no wider than 80 columns.
ArgumentList OptionsIn(const std::string& help) {
  ArgumentList entries;
  std::istringstream lines(help);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_LE(line.size(), 80U) << line;
    if (line.starts_with("  --")) {
      entries.push_back(line.substr(2, line.find("  ", 2) - 2));
    }
  }
  return entries;
}

std::string HelpOf(const ArgumentList& arguments) {
  const ParsedLine parsed = ParseArguments(arguments);
  EXPECT_EQ(parsed.status, 0);
  EXPECT_EQ(parsed.error, "");
  return parsed.output;
}

TEST(CommandLineTest, HelpListsAllOptionsOnEightyColumns) {
  EXPECT_EQ(OptionsIn(HelpOf({"--help"})), (ArgumentList{"--help", "--version"}));
  EXPECT_EQ(OptionsIn(HelpOf({"flash", "--help"})),
            (ArgumentList{"--record F1 F2 F3", "--no-switch", "--no-start", "--dry-run", "--raw",
                          "--baud RATE", "--answer-timeout MS", "--deadline SECONDS",
                          "--attempts N", "--jobs N", "--progress HOW", "--color WHEN", "--json",
                          "--quiet", "--log-dir DIR", "--trace", "--help", "--version"}));
  EXPECT_EQ(OptionsIn(HelpOf({"watch", "--help"})), (ArgumentList{"--record F1 F2 F3",
                                                                  "--no-switch",
                                                                  "--no-start",
                                                                  "--dry-run",
                                                                  "--raw",
                                                                  "--new-only",
                                                                  "--count N",
                                                                  "--baud RATE",
                                                                  "--answer-timeout MS",
                                                                  "--deadline SECONDS",
                                                                  "--attempts N",
                                                                  "--jobs N",
                                                                  "--progress HOW",
                                                                  "--color WHEN",
                                                                  "--json",
                                                                  "--quiet",
                                                                  "--bell",
                                                                  "--log-dir DIR",
                                                                  "--trace",
                                                                  "--help",
                                                                  "--version"}));
  EXPECT_EQ(OptionsIn(HelpOf({"list", "--help"})),
            (ArgumentList{"--all", "--json", "--help", "--version"}));
  EXPECT_EQ(OptionsIn(HelpOf({"info", "--help", "--bogus"})),
            (ArgumentList{"--baud RATE", "--answer-timeout MS", "--deadline SECONDS", "--jobs N",
                          "--progress HOW", "--color WHEN", "--json", "--quiet", "--log-dir DIR",
                          "--trace", "--help", "--version"}));
}

TEST(CommandLineTest, HelpTellsUsageExitStatusesAndReasons) {
  const std::string program = HelpOf({"--help"});
  const std::string flash = HelpOf({"flash", "--help"});
  const std::string info = HelpOf({"info", "--help"});
  EXPECT_NE(program.find("\nUsage: kvo-boards flash [OPTIONS] IMAGE PORT...\n"
                         "       kvo-boards watch [OPTIONS] IMAGE PATTERN...\n"
                         "       kvo-boards info [OPTIONS] PORT...\n"
                         "       kvo-boards list [OPTIONS]\n"),
            std::string::npos);
  EXPECT_NE(flash.find("\nUsage: kvo-boards flash [OPTIONS] IMAGE PORT...\n"), std::string::npos);
  EXPECT_NE(info.find("\nUsage: kvo-boards info [OPTIONS] PORT...\n"), std::string::npos);
  EXPECT_NE(info.find("\n\nArguments:\n  PORT ...  "), std::string::npos);
  EXPECT_NE(info.find("\n\nLine and limits:\n  --baud RATE  "), std::string::npos);
  for (const std::string& help :
       {program, flash, info, HelpOf({"watch", "--help"}), HelpOf({"list", "--help"})}) {
    EXPECT_EQ(help.find("\n\n\n"), std::string::npos) << help;
    EXPECT_NE(help.find("\nExit status:\n  0 "), std::string::npos) << help;
  }
  for (const char* const reason :
       {"missing", "permission", "busy", "not-a-terminal", "unreachable", "silent", "refused",
        "broken", "rejected", "not-started", "deadline", "lost", "interrupted", "crashed"}) {
    EXPECT_NE(flash.find(reason), std::string::npos) << reason;
  }
}

}  // namespace
}  // namespace kvo::boards
