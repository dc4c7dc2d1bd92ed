#pragma once

#include <sys/types.h>

#include <deque>
#include <functional>
#include <optional>

#include "boards/UniqueDescriptor.h"

namespace kvo::bootloadertms::testing {

// Worker processes that don't run: while an object lives, `fork` starts nothing, and `waitpid` and
// `kill` concern these. In place of a wait for news of several descriptors, `poll` calls `on_wait`
// and tells what is there then. At most one object lives at a time.
class FakeWorkers {
 public:
  struct Worker {
    boards::UniqueDescriptor socket;  // its end of the channel
    std::size_t board = 0;
    bool ignores_sigterm = false;
    bool hangs_in_the_system = false;  // survives SIGKILL
    bool was_told_to_end = false;
    bool was_killed = false;
    std::optional<int> wait_status;  // of one that has ended
    bool was_reaped = false;

    void End(int status);
  };

  // The first workers are those of so many boards, in their order.
  FakeWorkers(std::size_t boards, std::function<void(int timeout_ms)> on_wait);
  FakeWorkers(const FakeWorkers&) = delete;
  FakeWorkers& operator=(const FakeWorkers&) = delete;
  ~FakeWorkers();

  // The latest of the board; null when none was started.
  Worker* LatestOf(std::size_t board);
  const std::deque<Worker>& All() const { return workers_; }

  void FailNextFork() { next_fork_fails_ = true; }

  // For the functions that stand in for the C library's.
  static FakeWorkers* Current();
  void KeepWorkersEnd(int socket);
  pid_t Fork();
  pid_t Wait(pid_t id, int* status);
  void Signal(pid_t id, int signal);
  void WaitForNews(int timeout_ms) { on_wait_(timeout_ms); }

 private:
  Worker& WorkerOf(pid_t id);

  std::size_t boards_;
  std::function<void(int)> on_wait_;
  pid_t first_id_;
  std::deque<Worker> workers_;
  boards::UniqueDescriptor next_socket_;
  std::size_t board_looked_at_ = 0;
  bool next_fork_fails_ = false;
};

}  // namespace kvo::bootloadertms::testing
