#include "simulator/StopSignals.h"

#include <sys/signalfd.h>

#include "simulator/Waiting.h"

namespace kvo::boardsimulator {

StopSignals::StopSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    ::sigaddset(&signals, signal);
  }
  ::pthread_sigmask(SIG_BLOCK, &signals, &previous_mask_);
  descriptor_ = UniqueDescriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (descriptor_.Get() < 0) {
    throw SystemFailure("cannot watch for signals");
  }
}

// The signals that came stay pending, so they are taken off first: the program is already ending
// because of them.
StopSignals::~StopSignals() {
  signalfd_siginfo taken{};
  while (::read(descriptor_.Get(), &taken, sizeof taken) > 0) {
  }
  ::pthread_sigmask(SIG_SETMASK, &previous_mask_, nullptr);
}

void IgnoreBrokenPipes() { std::signal(SIGPIPE, SIG_IGN); }

}  // namespace kvo::boardsimulator
