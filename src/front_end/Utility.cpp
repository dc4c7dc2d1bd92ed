#include "front_end/Utility.h"

#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "client/BootLoader.h"
#include "front_end/ArgumentList.h"
#include "front_end/Arguments.h"
#include "front_end/FrontEndLog.h"
#include "front_end/Modes.h"
#include "front_end/OptionValues.h"
#include "front_end/StandardStreams.h"
#include "front_end/Usage.h"

namespace kvo::bootloadertms {

namespace {

[[noreturn]] void RunAction(const ArgumentList& arguments, std::uint32_t baud_rate) {
  BootLoader client(arguments.At(option::kDevice), baud_rate);
  RunChosenMode(arguments, client);
  FrontEndLog().LogInline("\nExiting boot loader utility for TMS\n");
  std::exit(EXIT_SUCCESS);  // at once: the system closes the port; meant so
}

void PrintFailure(const std::runtime_error& error) {
  std::cout << "\n"
            << error.what() << "\n"
            << "\nException :  Exiting boot loader utility for TMS\n"
            << "\n";
}

}  // namespace

int RunUtility(int argc, const char* const* argv) {
  DetachActionFromStandardStreams();
  if (argc - 1 < option::kFewestArguments) {
    std::cerr << UsageText();
    return EXIT_FAILURE;
  }
  const ArgumentList arguments(argc, argv);
  FrontEndLog().SetVerbose(arguments.HasOption(option::kVerbose));
  FrontEndLog().LogInline("Entering boot loader utility for TMS\n");
  const std::uint32_t baud_rate = ParseBaudRate(arguments);
  try {
    RunAction(arguments, baud_rate);
  } catch (const std::runtime_error& error) {
    PrintFailure(error);
    return EXIT_FAILURE;
  }
}

}  // namespace kvo::bootloadertms
