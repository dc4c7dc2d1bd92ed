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
    R"(Faults: --fault ACTION@PLACE[/TIMES], as often as wanted

  PLACE, the moment of an upload at which the board answers:
    start        the 'C' that asks for packet 0
    packet0      packet 0
    block:N      data block N, counted from 1
    eot          the end of the file
    closing      the empty packet at the very end
    verdict      the judgement of the image, 'O' or 'E'
  ACTION, what the board does then:
    nak          sends NAK; the packet is not taken
    c            sends 'C'; the packet is not taken
    can          sends CAN CAN and ends the attempt
    byte=HH      sends the byte HH (hexadecimal); the packet is not taken
    silence      sends nothing; the packet is not taken
    late=MS      takes the packet and sends the right answer after MS ms
    lost-ack     takes the packet and leaves out the first byte of the answer
    double-ack   takes the packet and sends the first byte of the answer twice
    hangup       closes the pseudo-terminal; the program ends with status 0
  TIMES: how often, a number or 'always'; once if not given.

  At 'start' byte=HH and can go back to waiting for commands; after nak, silence and
  lost-ack the board asks again a second later; c is not possible there. At 'verdict' the
  image is in the flash file already; a packet that is not taken means that the application
  stays invalid. Several faults at one place happen one after the other.
  Examples: --fault nak@block:3/2 --fault byte=46@start --fault silence@verdict/always)";

void AddBoardOptions(CLI::App& app, BoardSettings& board) {
  const auto set_board = [&board](const std::string& key) { board.names = FindBoard(key).value(); };
  AddOption(
      app,
      {"--board", "KEY", "The board to be, by the key in its images' file names (default: tv)"},
      set_board)
      ->check(CLI::IsMember(BoardKeys()));
  const auto set_state = [&board](const std::string& name) {
    board.state = name == "bootloader" ? BoardState::kBootloader : BoardState::kApplication;
  };
  AddOption(app, {"--state", "STATE", "What runs at the start (default: application)"}, set_state)
      ->check(CLI::IsMember({"application", "bootloader"}));
  app.add_option("--identification", board.identification,
                 "Accept also images for this text, 'F1|F2|F3|', in place of the three names")
      ->type_name("TEXT");
}

void AddTimeOptions(CLI::App& app, BoardSettings& board) {
  using std::chrono::milliseconds;
  AddNumber(app,
            {"--switch-time", "MS",
             "How long a switch between application and bootloader takes; what arrives meanwhile "
             "is lost (default: 200)"},
            0, kLongestTimeInMs,
            [&board](std::uint32_t time) { board.switch_time = milliseconds(time); });
  AddNumber(app,
            {"--silence-time", "MS",
             "How long a sender may be silent before the board gives up an upload (default: 3000)"},
            1, kLongestTimeInMs,
            [&board](std::uint32_t time) { board.times.silence = milliseconds(time); });
  AddNumber(app,
            {"--ping-silence", "N",
             "Leave the first N pings after the start and after each switch without an answer "
             "(default: 0)"},
            0, kLargestCount, [&board](std::uint32_t count) { board.silent_pings = count; });
}

void AddLineOptions(CLI::App& app, SimulatorOptions& options) {
  app.add_option("--link", options.link,
                 "Make a symbolic link to the device here, and remove it at the end; a symbolic "
                 "link that is there already is replaced")
      ->type_name("PATH");
  app.add_option("--socket", options.socket,
                 "Listen on a Unix socket here in place of a pseudo-terminal, for an emulated "
                 "machine's serial port; a socket that is there already is replaced")
      ->type_name("PATH")
      ->excludes("--link");
  AddNumber(
      app,
      {"--line-rate", "BAUD",
       "Pace both directions as a line of this rate, ten bits per byte (default: as fast as it "
       "goes)"},
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
         "Read further options from this file, one name=value per line; those of the command "
         "line come first")
      ->type_name("FILE");
}

void AddOptions(CLI::App& app, SimulatorOptions& options) {
  options.board.names = FindBoard("tv").value();
  app.set_help_flag("--help", "Print this help and end");
  app.set_version_flag("--version", "kvo-board-simulator " KVO_BOARD_SIMULATOR_VERSION,
                       "Print the version and end");
  AddConfigOption(app);
  AddBoardOptions(app, options.board);
  AddTimeOptions(app, options.board);
  AddLineOptions(app, options);
  AddAnswerOptions(app, options.board);
  AddCalibrationOptions(app, options.board.calibration);
  AddRepeatable(
      app, {"--fault", "FAULT", "Misbehave in an upload, see below; may be given again"},
      [&options](const std::string& text) { options.faults.push_back(ParseFault(text)); });
  app.footer(std::string(kAnswerHelp) + "\n\n" + kFaultHelp);
}

}  // namespace

CommandLine ReadCommandLine(int argument_count, const char* const* arguments) {
  CLI::App app(
      "A simulated board on a pseudo-terminal. The first line on standard output is the path of "
      "the device to open; SIGINT, SIGTERM and SIGHUP end the program. Exit status: 0 after such "
      "an "
      "end and after a hang-up that was asked for, 1 when something can't be done, 2 for arguments "
      "that are wrong.",
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
