#include "unit/simulator/ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>

#include "unit/simulator/TemporaryFolder.h"

namespace kvo::boardsimulator {
namespace {

class SpawnActions {
 public:
  SpawnActions() { ::posix_spawn_file_actions_init(&actions_); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
  ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions_); }

  void Redirect(int target, int descriptor) {
    if (descriptor >= 0) {
      ::posix_spawn_file_actions_adddup2(&actions_, descriptor, target);
    } else {
      ::posix_spawn_file_actions_addopen(&actions_, target, "/dev/null", O_RDWR, 0);
    }
  }
  const posix_spawn_file_actions_t* Get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

UniqueDescriptor CreateFile(const std::string& path) {
  return UniqueDescriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
}

}  // namespace

SocketPair::SocketPair() {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw std::runtime_error("no sockets");
  }
  first = UniqueDescriptor(ends[0]);
  second = UniqueDescriptor(ends[1]);
}

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, int input, int output,
                           int error) {
  std::vector<std::string> copies = arguments;
  std::vector<char*> pointers;
  pointers.reserve(copies.size() + 1);
  for (std::string& copy : copies) pointers.push_back(copy.data());
  pointers.push_back(nullptr);
  SpawnActions actions;
  actions.Redirect(STDIN_FILENO, input);
  actions.Redirect(STDOUT_FILENO, output);
  actions.Redirect(STDERR_FILENO, error);
  if (::posix_spawn(&id_, pointers[0], actions.Get(), nullptr, pointers.data(), environ) != 0) {
    throw std::runtime_error("cannot start " + arguments[0]);
  }
}

ChildProcess::~ChildProcess() {
  if (id_ < 0) return;
  ::kill(id_, SIGKILL);
  ::waitpid(id_, nullptr, 0);
}

void ChildProcess::Signal(int signal) const { ::kill(id_, signal); }

int ChildProcess::WaitForEnd() {
  int status = 0;
  ::waitpid(id_, &status, 0);
  id_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

ProgramOutcome RunToItsEnd(const std::vector<std::string>& arguments) {
  const TemporaryFolder folder;
  ProgramOutcome outcome;
  {
    const UniqueDescriptor output = CreateFile(folder.PathOf("output"));
    const UniqueDescriptor error = CreateFile(folder.PathOf("error"));
    ChildProcess program(arguments, -1, output.Get(), error.Get());
    outcome.exit_status = program.WaitForEnd();
  }
  outcome.output = ReadTextFile(folder.PathOf("output"));
  outcome.error = ReadTextFile(folder.PathOf("error"));
  return outcome;
}

}  // namespace kvo::boardsimulator
