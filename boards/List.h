#pragma once

#include "boards/CommandLine.h"

namespace kvo::boards {

// Tells on standard output which serial ports this machine has. Returns the exit status; throws
// `std::exception` when they can't be listed.
int List(const CommandLine& command_line);

}  // namespace kvo::boards
