#pragma once

#include <csignal>

#include "simulator/UniqueDescriptor.h"

namespace kvo::boardsimulator {

// Turns SIGINT, SIGTERM and SIGHUP into something a wait can see: while this object lives they
// end nothing by themselves but make a descriptor readable. One for the process, made before any
// other thread.
class StopSignals {
 public:
  // Throws std::system_error if the system refuses.
  StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;
  ~StopSignals();

  // Readable once one of the signals has come.
  int Descriptor() const { return descriptor_.Get(); }

 private:
  sigset_t previous_mask_{};
  UniqueDescriptor descriptor_;
};

// Makes writing to a closed pipe or socket an error of that write instead of the process's end.
void IgnoreBrokenPipes();

}  // namespace kvo::boardsimulator
