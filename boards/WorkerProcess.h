#pragma once

#include <sys/types.h>

#include <functional>
#include <list>
#include <optional>

#include "boards/EventChannel.h"

namespace kvo::boards {

// A child process that tells events. It is killed with the object, and reaped then or, if it
// doesn't end at once, by `ReapLate`.
class WorkerProcess {
 public:
  using Work = std::function<void(EventSender& events, int kept)>;

  // Runs `work` in a child of this process. Of the descriptors it has the three standard ones, the
  // first two of which lead nowhere, its end of the channel, and a copy of `kept`, unless that is
  // -1. Interrupts from the keyboard are not its matter; when this process dies it gets SIGTERM.
  // Exit status 0 tells that `work` has returned. Throws `std::system_error`.
  explicit WorkerProcess(const Work& work, int kept = -1);
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;
  ~WorkerProcess();

  EventReceiver& Events() { return events_; }

  void Signal(int signal) const;

  // The status that the system tells of its end; none while it runs.
  std::optional<int> WaitStatus();

  // To be called now and then.
  static void ReapLate();

 private:
  pid_t id_ = -1;
  std::list<pid_t> late_{id_};  // allocated in time, for when it doesn't end at once
  std::optional<int> wait_status_;
  EventReceiver events_;
};

}  // namespace kvo::boards
