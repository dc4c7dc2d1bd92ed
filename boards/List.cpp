#include "boards/List.h"

#include <cstdlib>
#include <iostream>

#include "boards/display/PortLines.h"
#include "boards/ports/FindPorts.h"

namespace kvo::boards {

int List(const CommandLine& command_line) {
  std::vector<FoundPort> ports = FindPorts();
  if (!command_line.all) {
    std::erase_if(ports, [](const FoundPort& port) { return !port.has_hardware; });
  }
  std::cout << (command_line.json ? PortObjects(ports) : PortLines(ports)) << std::flush;
  return EXIT_SUCCESS;
}

}  // namespace kvo::boards
