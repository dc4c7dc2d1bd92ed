#pragma once

#include <string>

namespace kvo::bootloadertms {

// Runs a command line through the shell, waits for it, and returns what it wrote to standard
// output. Its standard error goes where this program's goes; its exit status is not looked at.
// Throws `std::runtime_error` "popen() failed!" when the shell can't be started.
std::string RunCommand(const std::string& command);

// Whether the device must be taken as busy: some process has it open (asked of `lsof`), or a
// `minicom` runs, on whichever device (asked of `ps`). A missing tool counts as "not busy".
// The path goes to the shell as it is, unquoted. Fails as `RunCommand` does.
bool IsPortInUse(const std::string& device);

}  // namespace kvo::bootloadertms
