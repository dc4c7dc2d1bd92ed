#pragma once

#include <optional>
#include <string>
#include <vector>

#include "boards/CommandLine.h"

namespace kvo::bootloadertms::testing {

// What help and the manual page of kvo-boards say of its command line.
struct ModelledLine {
  enum class Verdict { kAccepted, kRefused, kMayTellHelp } verdict;
  boards::CommandLine line;  // of one that is accepted
};

ModelledLine ReadCommandLine(const std::vector<std::string>& arguments);

}  // namespace kvo::bootloadertms::testing
