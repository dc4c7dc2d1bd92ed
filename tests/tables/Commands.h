#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "client/IBootLoader.h"

namespace kvo::bootloadertms::testing {

// One request on the line and what the board sends then; nothing if `answer` is empty. Without a
// request the answer comes when everything sent before it has been read.
struct Exchange {
  std::string request;
  std::string answer;
};

// A code of the command mode, as the tests know it: what it is called, how it goes over the line
// with a board that answers, and what the front end makes of it.
struct Command {
  std::string name;  // in names of tests
  std::uint32_t code;
  std::string progress;  // the text before " [OK]" for the code as `Typed` gives it
  std::vector<Exchange> exchanges;
  std::string printed;
  std::chrono::milliseconds pauses;  // that the program makes at least

  // What the front end asks of its client: the lines to print; throws the front end's own failure.
  std::vector<std::string> (*run)(IBootLoader& client);

  bool prints_while_it_runs = false;  // before the " [OK]", not after it
};

inline void PrintTo(const Command& command, std::ostream* out) { *out << command.name; }

// One row per code.
const std::vector<Command>& Commands();

// As in "0x4B".
std::string Typed(std::uint32_t code);

}  // namespace kvo::bootloadertms::testing
