#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "simulator/Board.h"
#include "simulator/Fault.h"

namespace kvo::boardsimulator {

struct SimulatorOptions {
  BoardSettings board;
  std::vector<Fault> faults;
  std::string link;  // path; empty for none, as in the next three
  std::string socket;
  std::string flash;
  std::string trace;
  std::optional<std::uint32_t> line_rate;  // bits per second; nothing: as fast as it goes
};

// Puts a board on a new pseudo-terminal, or on the socket if one is given, writes the path of the
// device or socket as one line to `out` and serves until a signal (see StopSignals) or a fault ends
// it. Messages go to `err`. Returns the exit status: 0, or 1 if something could not be done.
int RunSimulator(const SimulatorOptions& options, std::ostream& out, std::ostream& err);

}  // namespace kvo::boardsimulator
