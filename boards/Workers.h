#pragma once

#include <memory>

#include "boards/BoardRun.h"
#include "boards/Plan.h"

namespace kvo::boards {

// Serves boards through the library, as the plan has it. Borrows the plan.
std::unique_ptr<Workers> MakeWorkers(const Plan& plan);

}  // namespace kvo::boards
