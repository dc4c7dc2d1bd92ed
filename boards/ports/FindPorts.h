#pragma once

#include <vector>

#include "boards/FoundPort.h"

namespace kvo::boards {

// The serial ports of this machine, also those without hardware, which the kernel has made in
// advance. Sorted by name, ttyUSB2 before ttyUSB10. Opens none of them. Throws `std::system_error`
// when the system doesn't tell.
std::vector<FoundPort> FindPorts();

}  // namespace kvo::boards
