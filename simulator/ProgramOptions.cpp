#include "simulator/ProgramOptions.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <stdexcept>
#include <string>

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

std::uint32_t ParseNumber(const std::string& text, std::uint32_t smallest, std::uint32_t largest) {
  if (const auto number = ReadNumber(text, smallest, largest)) return *number;
  throw CLI::ValidationError("'" + text + "' is not a number from " + std::to_string(smallest) +
                             " to " + std::to_string(largest));
}

template <typename Setter>
void AddNumber(CLI::App& app, const std::string& name, const std::string& unit,
               std::uint32_t smallest, std::uint32_t largest, const std::string& help, Setter set) {
  const auto take = [name, smallest, largest, set](const std::string& text) {
    try {
      set(ParseNumber(text, smallest, largest));
    } catch (const CLI::ValidationError& error) {
      throw CLI::ValidationError(name, error.what());
    }
  };
  app.add_option_function<std::string>(name, take, help)->type_name(unit);
}

void AddBoardOptions(CLI::App& app, BoardSettings& board) {
  const auto set_board = [&board](const std::string& key) { board.names = FindBoard(key).value(); };
  app.add_option_function<std::string>("--board", set_board,
                                       "The board to be, by the key in its images' file names "
                                       "(default: tv)")
      ->type_name("KEY")
      ->check(CLI::IsMember(BoardKeys()));
  const auto set_state = [&board](const std::string& name) {
    board.state = name == "bootloader" ? BoardState::kBootloader : BoardState::kApplication;
  };
  app.add_option_function<std::string>("--state", set_state,
                                       "What runs at the start (default: application)")
      ->type_name("STATE")
      ->check(CLI::IsMember({"application", "bootloader"}));
  app.add_option("--identification", board.identification,
                 "Accept also images for this text, 'F1|F2|F3|', in place of the three names")
      ->type_name("TEXT");
}

void AddTimeOptions(CLI::App& app, BoardSettings& board) {
  using std::chrono::milliseconds;
  AddNumber(app, "--switch-time", "MS", 0, kLongestTimeInMs,
            "How long a switch between application and bootloader takes; what arrives meanwhile "
            "is lost (default: 200)",
            [&board](std::uint32_t time) { board.switch_time = milliseconds(time); });
  AddNumber(app, "--silence-time", "MS", 1, kLongestTimeInMs,
            "How long a sender may be silent before the board gives up an upload (default: 3000)",
            [&board](std::uint32_t time) { board.times.silence = milliseconds(time); });
  AddNumber(app, "--ping-silence", "N", 0, kLargestCount,
            "Leave the first N pings after the start and after each switch without an answer "
            "(default: 0)",
            [&board](std::uint32_t count) { board.silent_pings = count; });
}

void AddLineOptions(CLI::App& app, SimulatorOptions& options) {
  app.add_option("--link", options.link,
                 "Make a symbolic link to the device here, and remove it at the end; a symbolic "
                 "link that is there already is replaced")
      ->type_name("PATH");
  AddNumber(app, "--line-rate", "BAUD", 1, kLargestCount,
            "Pace both directions as a line of this rate, ten bits a byte (default: as fast as it "
            "goes)",
            [&options](std::uint32_t rate) { options.line_rate = rate; });
  app.add_option("--flash", options.flash, "Write each good image to this file, before the verdict")
      ->type_name("FILE");
  app.add_option("--trace", options.trace, "Record all bytes and events in this file")
      ->type_name("FILE");
}

void AddFaultOption(CLI::App& app, std::vector<Fault>& faults) {
  const auto add = [&faults](const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
      try {
        faults.push_back(ParseFault(text));
      } catch (const std::invalid_argument& mistake) {
        throw CLI::ValidationError("--fault", mistake.what());
      }
    }
  };
  app.add_option_function<std::vector<std::string>>(
         "--fault", add, "Misbehave in an upload, see below; may be given again")
      ->type_name("FAULT")
      ->type_size(1)
      ->allow_extra_args(false);
}

void AddOptions(CLI::App& app, SimulatorOptions& options) {
  options.board.names = FindBoard("tv").value();
  app.set_help_flag("--help", "Print this help and end");
  app.set_version_flag("--version", "kvo-board-simulator " KVO_BOARD_SIMULATOR_VERSION,
                       "Print the version and end");
  AddBoardOptions(app, options.board);
  AddTimeOptions(app, options.board);
  AddLineOptions(app, options);
  AddFaultOption(app, options.faults);
  app.footer(kFaultHelp);
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
