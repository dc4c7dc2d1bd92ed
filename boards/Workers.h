#pragma once

#include <memory>
#include <string>
#include <vector>

#include "boards/BoardRun.h"
#include "boards/Plan.h"

namespace kvo::boards {

// Serves boards through the library, as the plan has it; each writes to its log, unless
// `log_paths` is empty. Borrows both.
std::unique_ptr<Workers> MakeWorkers(const Plan& plan, const std::vector<std::string>& log_paths);

}  // namespace kvo::boards
