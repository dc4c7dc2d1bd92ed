#include "boards/WorkerProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <system_error>
#include <thread>
#include <utility>

namespace kvo::boards {

namespace {

// After the standard descriptors.
constexpr int kChannel = 3;
constexpr int kKept = 4;

void Duplicate(int descriptor, int as) {
  if (::dup2(descriptor, as) == -1) {
    throw std::system_error(errno, std::generic_category(), "dup2");
  }
}

// What other workers and the supervisor hold is not this one's: a port would stay in use by it.
void KeepOnly(int channel, int kept) {
  // Out of the way first.
  const int channel_copy = ::fcntl(channel, F_DUPFD, kKept + 1);
  const int kept_copy = kept == -1 ? -1 : ::fcntl(kept, F_DUPFD, kKept + 1);
  Duplicate(channel_copy, kChannel);
  if (kept != -1) {
    Duplicate(kept_copy, kKept);
  }
  ::closefrom(kept == -1 ? kChannel + 1 : kKept + 1);
  const int nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  ::dup2(nowhere, STDIN_FILENO);
  ::dup2(nowhere, STDOUT_FILENO);
  ::close(nowhere);
}

void LeaveSignalsToTheSupervisor() {
  for (const int signal : {SIGINT, SIGHUP, SIGQUIT}) {
    std::signal(signal, SIG_IGN);
  }
  std::signal(SIGTERM, SIG_DFL);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void RunInChild(const WorkerProcess::Work& work, int channel, int kept, pid_t parent) {
  int status = EXIT_FAILURE;
  try {
    LeaveSignalsToTheSupervisor();
    KeepOnly(channel, kept);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() == parent) {
      EventSender events(kChannel);
      work(events, kept == -1 ? -1 : kKept);
      status = EXIT_SUCCESS;
    }
  } catch (...) {
    // The exit status tells.
  }
  std::exit(status);
}

// Those that were killed and have not been seen to end.
std::list<pid_t>& Late() {
  static std::list<pid_t> late;
  return late;
}

}  // namespace

WorkerProcess::WorkerProcess(const Work& work, int kept) {
  std::pair<UniqueDescriptor, UniqueDescriptor> ends = MakeEventChannel();
  std::fflush(nullptr);  // or the child would write it once more
  const pid_t parent = ::getpid();
  id_ = ::fork();
  if (id_ == -1) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (id_ == 0) {
    RunInChild(work, ends.first.Get(), kept, parent);
  }
  late_.front() = id_;
  events_ = EventReceiver(std::move(ends.second));
}

WorkerProcess::~WorkerProcess() {
  Signal(SIGKILL);
  // Not waited for any longer: what hangs in a driver doesn't even end then.
  for (int tries = 5; !WaitStatus() && tries > 0; --tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (!wait_status_) {
    Late().splice(Late().end(), late_);
  }
}

void WorkerProcess::ReapLate() {
  std::erase_if(Late(), [](pid_t id) { return ::waitpid(id, nullptr, WNOHANG) != 0; });
}

void WorkerProcess::Signal(int signal) const {
  if (!wait_status_) {
    ::kill(id_, signal);
  }
}

std::optional<int> WorkerProcess::WaitStatus() {
  int status = 0;
  if (!wait_status_ && ::waitpid(id_, &status, WNOHANG) == id_) {
    wait_status_ = status;
  }
  return wait_status_;
}

}  // namespace kvo::boards
