#include "support/Processes.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <system_error>
#include <thread>

namespace kvo::bootloadertms::testing {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPause{5};

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> Environment(const std::map<std::string, std::string>& additions) {
  std::vector<std::string> environment;
  for (const auto& [name, value] : additions) {
    environment.push_back(name + "=" + value);
  }
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (additions.count(text.substr(0, text.find('='))) == 0) {
      environment.push_back(text);
    }
  }
  return environment;
}

void PreferProcess(pid_t id) {
  constexpr int kBeforeOthers = -15;
  ::setpriority(PRIO_PROCESS, static_cast<id_t>(id), kBeforeOthers);
}

class SpawnActions {
 public:
  SpawnActions() { ::posix_spawn_file_actions_init(&actions_); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
  ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions_); }

  void OpenAs(int descriptor, const std::string& path, int flags) {
    ::posix_spawn_file_actions_addopen(&actions_, descriptor, path.c_str(), flags, 0600);
  }
  const posix_spawn_file_actions_t* Get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

}  // namespace

std::vector<pid_t> ChildrenOf(pid_t id) {
  const std::string process = std::to_string(id);
  std::istringstream children(ReadFile("/proc/" + process + "/task/" + process + "/children"));
  return {std::istream_iterator<pid_t>(children), std::istream_iterator<pid_t>()};
}

void PreferThisProcess() { PreferProcess(::getpid()); }

std::unique_lock<std::mutex> NoProgramStarts() {
  static std::mutex mutex;
  return std::unique_lock(mutex);
}

RunningProgram::RunningProgram(const std::vector<std::string>& command,
                               const std::map<std::string, std::string>& environment) {
  std::vector<std::string> arguments = command;
  std::vector<std::string> variables = Environment(environment);
  SpawnActions actions;
  actions.OpenAs(STDIN_FILENO, "/dev/null", O_RDONLY);
  actions.OpenAs(STDOUT_FILENO, folder_.Path("out"), O_WRONLY | O_CREAT);
  actions.OpenAs(STDERR_FILENO, folder_.Path("err"), O_WRONLY | O_CREAT);
  const std::unique_lock<std::mutex> alone = NoProgramStarts();
  const int error = ::posix_spawnp(&id_, command.front().c_str(), actions.Get(), nullptr,
                                   Pointers(arguments).data(), Pointers(variables).data());
  if (error != 0) {
    throw std::system_error(error, std::system_category(), "can't start " + command.front());
  }
}

RunningProgram::~RunningProgram() {
  if (!ended_) {
    const std::vector<pid_t> children = ChildrenOf(id_);
    Signal(SIGKILL);
    for (const pid_t child : children) {
      ::kill(child, SIGKILL);
    }
    ::waitpid(id_, nullptr, 0);
  }
}

int RunningProgram::Wait(std::chrono::milliseconds limit) {
  WaitUntil([] { return false; }, limit);
  return exit_status_;
}

void RunningProgram::Signal(int signal) const { ::kill(id_, signal); }

pid_t RunningProgram::Id() const { return id_; }

std::string RunningProgram::Output() const { return ReadFile(folder_.Path("out")); }

std::string RunningProgram::ErrorOutput() const { return ReadFile(folder_.Path("err")); }

std::string RunningProgram::FirstLine(std::chrono::seconds limit) {
  const bool has_line =
      WaitUntil([this] { return Output().find('\n') != std::string::npos; }, limit);
  const std::string output = Output();
  return has_line ? output.substr(0, output.find('\n')) : "";
}

bool RunningProgram::OutputBeginsWith(const std::string& text, std::chrono::seconds limit) {
  return WaitUntil([this, &text] { return Output().compare(0, text.size(), text) == 0; }, limit);
}

void RunningProgram::Prefer() const { PreferProcess(id_); }

bool RunningProgram::WaitUntil(const std::function<bool()>& condition,
                               std::chrono::milliseconds limit) {
  const auto deadline = steady_clock::now() + limit;
  while (true) {
    const bool ended = HasEnded();
    if (condition()) {
      return true;
    }
    if (ended || steady_clock::now() >= deadline) {
      return false;
    }
    std::this_thread::sleep_for(kPause);
  }
}

bool RunningProgram::HasEnded() {
  int status = 0;
  if (!ended_ && ::waitpid(id_, &status, WNOHANG) == id_) {
    ended_ = true;
    exit_status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  return ended_;
}

std::string CurrentPath() {
  const char* path = std::getenv("PATH");
  return path == nullptr ? "" : path;
}

StandInTools::StandInTools() {
  LsofPrints("");
  PsPrints("");
}

void StandInTools::LsofPrints(const std::string& text) { Write("lsof", text); }

void StandInTools::PsPrints(const std::string& text) { Write("ps", text); }

std::string StandInTools::Calls() const { return ReadFile(folder_.Path("calls")); }

std::map<std::string, std::string> StandInTools::Environment() const {
  return {{"PATH", folder_.Path("bin") + ":" + CurrentPath()}};
}

void StandInTools::Write(const std::string& tool, const std::string& text) {
  const std::string answer = folder_.WriteFile(tool + ".txt", text);
  folder_.WriteScript("bin/" + tool,
                      "echo \"" + tool + " $*\" >> " + folder_.Path("calls") + "\ncat " + answer);
}

PathOfThisProcess::PathOfThisProcess(const std::string& path) : former_(CurrentPath()) {
  ::setenv("PATH", path.c_str(), 1);
}

PathOfThisProcess::~PathOfThisProcess() { ::setenv("PATH", former_.c_str(), 1); }

}  // namespace kvo::bootloadertms::testing
