#include "boards/SignalQueue.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace kvo::boards {

namespace {

// As under nohup.
bool IsIgnored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

SignalQueue::SignalQueue() {
  std::signal(SIGCHLD, SIG_DFL);  // ignored, the ends of children would be lost
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGWINCH}) {
    if (!IsIgnored(signal)) {
      ::sigaddset(&signals, signal);
    }
  }
  descriptor_ = UniqueDescriptor(::signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
  if (descriptor_.Get() == -1) {
    throw std::system_error(errno, std::generic_category(), "signalfd");
  }
  ::sigprocmask(SIG_BLOCK, &signals, &former_mask_);
}

SignalQueue::~SignalQueue() { ::sigprocmask(SIG_SETMASK, &former_mask_, nullptr); }

std::optional<int> SignalQueue::Next() {
  signalfd_siginfo info{};
  if (::read(descriptor_.Get(), &info, sizeof info) != sizeof info) {
    return std::nullopt;
  }
  return static_cast<int>(info.ssi_signo);
}

}  // namespace kvo::boards
