#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "boards/ports/PortAddress.h"

namespace kvo::boards {

enum class Action : std::uint8_t { kFlash, kInfo, kList, kWatch };
enum class Progress : std::uint8_t { kAuto, kBars, kLines, kNone };
enum class Color : std::uint8_t { kAuto, kAlways, kNever };

// The command line, as it is: what follows from several options together (default times, for one)
// is the plan's matter.
struct CommandLine {
  Action action = Action::kFlash;
  std::string image;
  std::vector<PortAddress> ports;     // none of which is there twice by its text
  std::vector<std::string> patterns;  // of paths, to be watched

  std::uint32_t baud_rate = 1000000;
  std::vector<std::string> record;                    // three texts or none
  std::optional<std::chrono::milliseconds> deadline;  // 0: none
  std::optional<std::chrono::milliseconds> answer_timeout;
  std::size_t jobs = 0;   // 0: all at once
  std::size_t count = 0;  // of boards to be waited for; 0: no end
  int attempts = 1;
  bool switch_to_bootloader = true;
  bool start_application = true;
  bool dry_run = false;
  bool raw = false;
  bool new_only = false;
  bool bell = false;
  bool all = false;  // ports to be listed

  std::string log_folder;
  bool trace = false;

  Progress progress = Progress::kAuto;
  Color color = Color::kAuto;
  bool json = false;
  bool quiet = false;
};

// Fills in `command_line`. The result is the exit status of a program that is done with that: 0
// after help and version (on standard output), 2 for a wrong command line (one line on standard
// error); none when there is something to do.
std::optional<int> ParseCommandLine(int argc, const char* const* argv, CommandLine& command_line);

}  // namespace kvo::boards
