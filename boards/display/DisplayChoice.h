#pragma once

#include <memory>
#include <vector>

#include "boards/BoardStatus.h"
#include "boards/CommandLine.h"
#include "boards/display/Display.h"

namespace kvo::boards {

// The display that the command line, the environment (NO_COLOR, TERM) and standard output ask for.
// It borrows the boards, which must not move and of which a watch needs none; it writes to standard
// output, and failures to standard error with `--quiet`. The bell rings where there is a terminal.
std::unique_ptr<Display> ChooseDisplay(const CommandLine& command_line,
                                       const std::vector<BoardStatus>& boards);

// Shows all to each of `displays`.
std::unique_ptr<Display> Together(std::vector<std::unique_ptr<Display>> displays);

}  // namespace kvo::boards
