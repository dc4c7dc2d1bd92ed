#include "front_end/Usage.h"

#include <ios>
#include <locale>
#include <sstream>

#include "front_end/CommandTable.h"

namespace kvo::bootloadertms {

namespace {

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

constexpr const char* kModesBehindTheCommands =
    R"(  ie. : kvo-bootloader-tms /dev/ttyUSB0 1000000 --command 0x51 --verbose
Usage 4, send character to target : kvo-bootloader-tms <serial> <Baud rate> --send <character> [--verbose]
)";

}  // namespace

std::string UsageText() {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << kModes << std::hex << std::uppercase;
  for (const Command& command : Commands()) {
    text << "     - " << command.usage_label << " = 0x" << command.code << "\n";
  }
  text << kModesBehindTheCommands;
  return text.str();
}

}  // namespace kvo::bootloadertms
