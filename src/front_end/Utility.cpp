#include "front_end/Utility.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <initializer_list>
#include <ios>
#include <iostream>
#include <locale>
#include <sstream>
#include <stdexcept>

#include "client/BootLoader.h"
#include "front_end/Arguments.h"
#include "front_end/Commands.h"
#include "front_end/Modes.h"

namespace kvo::bootloadertms {

namespace {

// In two pieces, as one line ends in a blank.
constexpr const char* kModes =
    R"(Bad arguments number

Usage 1, upload image file to target : kvo-bootloader-tms <serial> <Baud rate> <imageName> <--active_bootloader|--no_active_bootloader> [--active_application] [--verbose]
  ie. : kvo-bootloader-tms /dev/ttyUSB0 1000000 ./tv_07_tv.bin --active_bootloader --active_application

Usage 2, get application information from target : kvo-bootloader-tms <serial> <Baud rate> --application_info <--active_bootloader|--no_active_bootloader> [--verbose]
  ie. : kvo-bootloader-tms /dev/ttyUSB0 1000000 --application_info --active_bootloader )"
    R"(

Usage 3, send command to target : kvo-bootloader-tms <serial> <Baud rate> --command <cmd> [--verbose]
  with cmd :
)";

constexpr const char* kModesAfterTheCommands =
    R"(  ie. : kvo-bootloader-tms /dev/ttyUSB0 1000000 --command 0x51 --verbose
Usage 4, send character to target : kvo-bootloader-tms <serial> <Baud rate> --send <character> [--verbose]
)";

void Survive(int /*signal*/) {}

// A handler rather than SIG_IGN, which the programs that this one starts would inherit. If the
// signal was ignored already, it stays ignored for them.
void SurviveLostReaders() {
  if (std::signal(SIGPIPE, Survive) == SIG_IGN) {
    std::signal(SIGPIPE, SIG_IGN);
  }
}

bool IsClosed(int descriptor) { return ::fcntl(descriptor, F_GETFD) == -1; }

[[noreturn]] void RunAction(const ArgumentList& arguments, std::uint32_t baud_rate) {
  BootLoader client(arguments.At(option::kDevice), baud_rate);
  RunChosenMode(arguments, client);
  FrontEndLog().LogInline("\nExiting boot loader utility for TMS\n");
  std::exit(EXIT_SUCCESS);  // Deliberate: at once; the system closes the port.
}

void PrintFailure(const std::runtime_error& error) {
  std::cout << "\n"
            << error.what() << "\n"
            << "\nException :  Exiting boot loader utility for TMS\n"
            << "\n";
}

}  // namespace

int RunUtility(int argc, const char* const* argv) {
  ProtectStandardStreams();
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

std::string UsageText() {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << kModes << std::hex << std::uppercase;
  for (const Command& command : Commands()) {
    text << "     - " << command.usage_label << " = 0x" << command.code << "\n";
  }
  text << kModesAfterTheCommands;
  return text.str();
}

void ProtectStandardStreams() {
  SurviveLostReaders();
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (IsClosed(stream)) {
      ::open("/dev/null", O_RDWR);  // gets the lowest free number: this one
    }
  }
}

}  // namespace kvo::bootloadertms
