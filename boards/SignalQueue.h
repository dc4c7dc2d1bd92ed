#pragma once

#include <csignal>
#include <optional>

#include "boards/UniqueDescriptor.h"

namespace kvo::boards {

// While it lives, SIGINT, SIGTERM, SIGHUP, SIGCHLD and SIGWINCH do nothing by themselves but make a
// descriptor readable; those of the first three that were ignored stay ignored. One per process.
// Throws `std::system_error`.
class SignalQueue {
 public:
  SignalQueue();
  SignalQueue(const SignalQueue&) = delete;
  SignalQueue& operator=(const SignalQueue&) = delete;
  ~SignalQueue();

  int Descriptor() const { return descriptor_.Get(); }

  // The next signal that has come.
  std::optional<int> Next();

 private:
  sigset_t former_mask_{};
  UniqueDescriptor descriptor_;
};

}  // namespace kvo::boards
