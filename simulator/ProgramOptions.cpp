#include "simulator/ProgramOptions.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "simulator/AnswerOptions.h"
#include "simulator/CalibrationOptions.h"
#include "simulator/ConfigFile.h"
#include "simulator/OptionValues.h"
#include "simulator/TextParsing.h"

namespace kvo::boardsimulator {
namespace {

constexpr int kUsageError = 2;

constexpr const char* kFaultHelp =
    R"(Faults: --fault ACTION@PLACE[/TIMES], repeatable

  PLACE, the moment of an upload at which the board answers:
    start        the 'C' that asks for packet 0
    packet0      packet 0
    block:N      data block N, counted from 1
    eot          the end of the file
    closing      the empty packet after the end of the file
    verdict      the verdict on the image, 'O' or 'E'
  ACTION, what the board does then:
    nak          sends NAK, does not take the packet
    c            sends 'C', does not take the packet; not at 'start'
    can          sends CAN CAN; the upload is over
    byte=HH      sends the byte HH (hexadecimal), does not take the packet
    silence      sends nothing, does not take the packet
    late=MS      takes the packet, sends the right answer after MS ms
    lost-ack     takes the packet, omits the first byte of the answer
    double-ack   takes the packet, sends the first byte of the answer twice
    hangup       closes the pseudoterminal; the program exits with status 0
  TIMES: how often, a number or 'always'; 1 by default.

  At 'start', 'byte=HH' and 'can' end the upload before it begins; after nak, silence
  and lost-ack the board asks again a second later. At 'verdict' the image is already in
  the flash file, but an action that does not take the packet leaves the application
  invalid. Several faults at one place happen in the order given.
  Examples: --fault nak@block:3/2 --fault byte=46@start --fault silence@verdict/always)";

void AddBoardOptions(CLI::App& app, BoardSettings& board) {
  const auto set_board = [&board](const std::string& key) { board.names = FindBoard(key).value(); };
  AddOption(app,
            {"--board", "KEY",
             "Which board to simulate, by the key in its images' file names (default: tv)"},
            set_board)
      ->check(CLI::IsMember(BoardKeys()));
  const auto set_state = [&board](const std::string& name) {
    board.state = name == "bootloader" ? BoardState::kBootloader : BoardState::kApplication;
  };
  AddOption(app, {"--state", "STATE", "The program that runs at the start (default: application)"},
            set_state)
      ->check(CLI::IsMember({"application", "bootloader"}));
  app.add_option("--identification", board.identification,
                 "Also accept images for this text, 'F1|F2|F3|', instead of the board's names")
      ->type_name("TEXT");
}

void AddTimeOptions(CLI::App& app, BoardSettings& board) {
  using std::chrono::milliseconds;
  AddNumber(app,
            {"--switch-time", "MS",
             "How long a switch between application and bootloader takes; bytes that arrive "
             "meanwhile are lost (default: 200)"},
            0, kLongestTimeInMs,
            [&board](std::uint32_t time) { board.switch_time = milliseconds(time); });
  AddNumber(app,
            {"--silence-time", "MS",
             "How long the host can be silent before the board gives up an upload (default: 3000)"},
            1, kLongestTimeInMs,
            [&board](std::uint32_t time) { board.times.silence = milliseconds(time); });
  AddNumber(app,
            {"--ping-silence", "N",
             "Do not answer the first N pings after the start and after each switch (default: 0)"},
            0, kLargestCount, [&board](std::uint32_t count) { board.silent_pings = count; });
}

void AddLineOptions(CLI::App& app, SimulatorOptions& options) {
  app.add_option("--link", options.link,
                 "Create a symbolic link to the device here, and remove it at the end; an existing "
                 "symbolic link is replaced")
      ->type_name("PATH");
  app.add_option("--socket", options.socket,
                 "Listen on a Unix socket here instead of a pseudoterminal, for an emulated "
                 "machine's serial port; an existing socket is replaced")
      ->type_name("PATH")
      ->excludes("--link");
  AddNumber(
      app,
      {"--line-rate", "BAUD",
       "Pace both directions like a line at this rate, ten bits per byte (default: as fast as "
       "possible)"},
      1, kLargestCount, [&options](std::uint32_t rate) { options.line_rate = rate; });
  app.add_option("--flash", options.flash, "Write each good image to this file, before the verdict")
      ->type_name("FILE");
  app.add_option("--trace", options.trace, "Record all bytes and events in this file")
      ->type_name("FILE");
}

void AddConfigOption(CLI::App& app) {
  app.config_formatter(std::make_shared<ConfigFile>());
  app.allow_config_extras(CLI::config_extras_mode::error);
  app.set_config(
         "--config", "",
         "Read options from this file, one name=value per line; options on the command line "
         "override the file")
      ->type_name("FILE");
}

void AddOptions(CLI::App& app, SimulatorOptions& options) {
  options.board.names = FindBoard("tv").value();
  app.set_help_flag("--help", "Print this help and exit");
  app.set_version_flag("--version", "kvo-board-simulator " KVO_BOARD_SIMULATOR_VERSION,
                       "Print the version and exit");
  AddConfigOption(app);
  AddBoardOptions(app, options.board);
  AddTimeOptions(app, options.board);
  AddLineOptions(app, options);
  AddAnswerOptions(app, options.board);
  AddCalibrationOptions(app, options.board.calibration);
  AddRepeatable(
      app, {"--fault", "FAULT", "Misbehave in an upload, see below; repeatable"},
      [&options](const std::string& text) { options.faults.push_back(ParseFault(text)); });
  app.footer(std::string(kAnswerHelp) + "\n\n" + kFaultHelp);
}

}  // namespace

CommandLine ReadCommandLine(int argument_count, const char* const* arguments) {
  CLI::App app(
      "A simulated board on a pseudoterminal. The first line on standard output is the path of the "
      "device to open; SIGINT, SIGTERM or SIGHUP ends the program. Exit status: 0 if ended by a "
      "signal or by the fault hangup, 1 if something failed, 2 for a mistake in the arguments.",
      "kvo-board-simulator");
  CommandLine command_line;
  AddOptions(app, command_line.options);
  try {
    app.parse(argument_count, arguments);
  } catch (const CLI::ParseError& outcome) {
    const bool mistake = app.exit(outcome, std::cout, std::cerr) != 0;
    command_line.exit_status = mistake ? kUsageError : 0;
  }
  return command_line;
}

}  // namespace kvo::boardsimulator
