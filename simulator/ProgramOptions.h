#pragma once

#include <optional>

#include "simulator/Simulator.h"

namespace kvo::boardsimulator {

// What the command line asks for: to run with `options`, or to end at once with `exit_status`
// (after --help and --version, and after a mistake).
struct CommandLine {
  SimulatorOptions options;
  std::optional<int> exit_status;
};

// Reads the program's arguments. Writes help and version to standard output; complains about
// mistakes on standard error and then asks for exit status 2.
CommandLine ReadCommandLine(int argument_count, const char* const* arguments);

}  // namespace kvo::boardsimulator
