#pragma once

#include <string>
#include <vector>

#include "boards/FoundPort.h"

namespace kvo::boards {

// For people: a line per port, in columns, what is most useful first; one line that says so when
// there is none.
std::string PortLines(const std::vector<FoundPort>& ports);

// For programs: a JSON object per line and port.
std::string PortObjects(const std::vector<FoundPort>& ports);

}  // namespace kvo::boards
