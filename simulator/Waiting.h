#pragma once

#include <string>
#include <system_error>

#include "simulator/Line.h"

namespace kvo::boardsimulator {

// Waits until one of the poll(2) `events` comes on `descriptor`, at most until `until`. Returns
// what poll reports for it, 0 after the deadline. A descriptor of -1 makes it a mere wait.
// Throws ServingEnded (kStopRequested) as soon as `stop_descriptor` (-1: none) can be read.
short WaitForEvents(int descriptor, short events, int stop_descriptor, TimePoint until);

// The error of the system call that failed last, told as "what: reason".
std::system_error SystemFailure(const std::string& what);

}  // namespace kvo::boardsimulator
