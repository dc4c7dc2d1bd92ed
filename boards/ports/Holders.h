#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace kvo::boards {

// A process that has a device open.
struct Holder {
  pid_t process;
  std::string program;  // its name; empty if the system doesn't tell
};

// Some process, other than this one, that has the character device open; of other users' processes
// only root is told.
std::optional<Holder> FindHolder(dev_t device);

}  // namespace kvo::boards
