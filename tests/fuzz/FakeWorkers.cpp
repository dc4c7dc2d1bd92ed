#include "fuzz/FakeWorkers.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>

namespace kvo::bootloadertms::testing {

namespace {

FakeWorkers* current = nullptr;

// The next one, beyond those of real processes; no other worker ever had it.
pid_t next_id = 1 << 30;

}  // namespace

void FakeWorkers::Worker::End(int status) {
  if (!wait_status) {
    wait_status = status;
    socket.Close();
  }
}

FakeWorkers::FakeWorkers(std::size_t boards, std::function<void(int)> on_wait)
    : boards_(boards), on_wait_(std::move(on_wait)), first_id_(next_id) {
  current = this;
}

FakeWorkers::~FakeWorkers() { current = nullptr; }

FakeWorkers* FakeWorkers::Current() { return current; }

FakeWorkers::Worker* FakeWorkers::LatestOf(std::size_t board) {
  const auto latest = std::find_if(workers_.rbegin(), workers_.rend(),
                                   [board](const Worker& worker) { return worker.board == board; });
  return latest == workers_.rend() ? nullptr : &*latest;
}

void FakeWorkers::KeepWorkersEnd(int socket) {
  next_socket_ = boards::UniqueDescriptor(::fcntl(socket, F_DUPFD_CLOEXEC, 0));
}

pid_t FakeWorkers::Fork() {
  boards::UniqueDescriptor socket = std::move(next_socket_);
  // A board's next worker is started when its former one has been looked at.
  const std::size_t board = workers_.size() < boards_ ? workers_.size() : board_looked_at_;
  Worker& worker = workers_.emplace_back();
  worker.board = board;
  const pid_t id = next_id++;
  if (std::exchange(next_fork_fails_, false)) {
    worker.wait_status = 0;
    worker.was_reaped = true;
    errno = EAGAIN;
    return -1;
  }
  worker.socket = std::move(socket);
  return id;
}

FakeWorkers::Worker& FakeWorkers::WorkerOf(pid_t id) {
  Worker& worker = workers_.at(static_cast<std::size_t>(id - first_id_));
  board_looked_at_ = worker.board;
  return worker;
}

pid_t FakeWorkers::Wait(pid_t id, int* status) {
  if (id < first_id_) {
    errno = ECHILD;
    return -1;
  }
  Worker& worker = WorkerOf(id);
  if (!worker.wait_status) {
    return 0;
  }
  worker.was_reaped = true;
  if (status != nullptr) {
    *status = *worker.wait_status;
  }
  return id;
}

void FakeWorkers::Signal(pid_t id, int signal) {
  Worker& worker = WorkerOf(id);
  if (signal == SIGKILL) {
    worker.was_killed = true;
    if (!worker.hangs_in_the_system) {
      worker.End(SIGKILL);
    }
  } else {
    worker.was_told_to_end = true;
    if (!worker.ignores_sigterm) {
      worker.End(0);
    }
  }
}

}  // namespace kvo::bootloadertms::testing

namespace {

using kvo::bootloadertms::testing::FakeWorkers;

}  // namespace

// The C library's own names, so that these stand in for them throughout the program.
extern "C" {

int socketpair(int domain, int type, int protocol, int* ends) noexcept {
  const auto result = static_cast<int>(::syscall(SYS_socketpair, domain, type, protocol, ends));
  if (FakeWorkers* fake = FakeWorkers::Current(); fake != nullptr && result == 0) {
    fake->KeepWorkersEnd(ends[0]);
  }
  return result;
}

pid_t fork() noexcept {
  FakeWorkers* fake = FakeWorkers::Current();
  return fake == nullptr ? static_cast<pid_t>(::syscall(SYS_clone, SIGCHLD, nullptr))
                         : fake->Fork();
}

pid_t waitpid(pid_t id, int* status, int options) {
  FakeWorkers* fake = FakeWorkers::Current();
  return fake == nullptr ? static_cast<pid_t>(::syscall(SYS_wait4, id, status, options, nullptr))
                         : fake->Wait(id, status);
}

int kill(pid_t id, int signal) noexcept {
  FakeWorkers* fake = FakeWorkers::Current();
  if (fake == nullptr) {
    return static_cast<int>(::syscall(SYS_kill, id, signal));
  }
  return fake->Signal(id, signal), 0;
}

int poll(struct pollfd* awaited, nfds_t count, int timeout_ms) {
  FakeWorkers* fake = FakeWorkers::Current();
  if (fake != nullptr && count > 1) {
    fake->WaitForNews(timeout_ms);
    timeout_ms = 0;
  }
  const timespec limit{.tv_sec = timeout_ms / 1000, .tv_nsec = timeout_ms % 1000 * 1'000'000L};
  return static_cast<int>(
      ::syscall(SYS_ppoll, awaited, count, timeout_ms < 0 ? nullptr : &limit, nullptr, 0));
}

}  // extern "C"
