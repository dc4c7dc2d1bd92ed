#pragma once

#include <memory>
#include <string>
#include <vector>

#include "program/Programs.h"

namespace kvo::bootloadertms::testing {

// One of the programs of examples/. `command` is its path and its arguments. The stand-ins must
// live as long as the run, as those of `StartUtility`.
std::unique_ptr<RunningProgram> StartExample(const std::vector<std::string>& command,
                                             const StandInTools& tools);

// The same, to its end; a run that doesn't end fails the test.
Outcome RunExample(const std::vector<std::string>& command);

// A firmware image of `length` bytes, of all values, in no order that repeats with a block.
std::string ExampleImage(std::size_t length);

}  // namespace kvo::bootloadertms::testing
