#include <iostream>

#include "simulator/ProgramOptions.h"
#include "simulator/Simulator.h"

int main(int argument_count, char** arguments) {
  using namespace kvo::boardsimulator;
  const CommandLine command_line = ReadCommandLine(argument_count, arguments);
  if (command_line.exit_status) {
    return *command_line.exit_status;
  }
  return RunSimulator(command_line.options, std::cout, std::cerr);
}
