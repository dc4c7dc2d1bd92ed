#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "support/Files.h"

namespace kvo::bootloadertms::testing {

// Lets this process and all that it starts from now on run before others, where it may decide so:
// for what has to answer in time, also on a busy machine.
void PreferThisProcess();

// Those that a process has started and that have not ended, as strace does with its command.
std::vector<pid_t> ChildrenOf(pid_t id);

// While it is held, no program is started: each would have for a moment what is open meanwhile.
std::unique_lock<std::mutex> NoProgramStarts();

// A program that a test starts; it and what it has started are killed when the object ends before
// it does.
class RunningProgram {
 public:
  // `command` is the program's path and its arguments; `environment` is added to the test's own.
  // Standard input is empty. Throws `std::system_error` for a program that can't be started; an
  // emulator of processes reports that as exit status 127 instead.
  explicit RunningProgram(const std::vector<std::string>& command,
                          const std::map<std::string, std::string>& environment = {});
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;
  ~RunningProgram();

  // Waits for the end. The result is the exit status, 128 and the signal's number for an end by a
  // signal, and -1 when the program still runs after `limit`.
  int Wait(std::chrono::milliseconds limit = std::chrono::seconds(120));

  void Signal(int signal) const;
  pid_t Id() const;

  // What it has written so far.
  std::string Output() const;
  std::string ErrorOutput() const;

  // Waits until the output holds a whole line, and returns the first one; empty after `limit`.
  std::string FirstLine(std::chrono::seconds limit = std::chrono::seconds(60));

  // Waits until the output begins with `text`; false when it doesn't within `limit` or before the
  // end.
  bool OutputBeginsWith(const std::string& text,
                        std::chrono::seconds limit = std::chrono::seconds(60));

  // Waits until the condition holds; false when it doesn't within `limit` or before the end.
  bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit);

  // As `PreferThisProcess`, for the program.
  void Prefer() const;

 private:
  bool HasEnded();

  TemporaryFolder folder_;
  pid_t id_ = -1;
  bool ended_ = false;
  int exit_status_ = -1;
};

// Stand-ins for `lsof` and `ps`, found before the real ones by programs that get `Environment()`.
// Each prints its text (nothing at first) and notes its call.
class StandInTools {
 public:
  StandInTools();

  void LsofPrints(const std::string& text);
  void PsPrints(const std::string& text);

  // One line per call, in their order: the tool's name and its arguments.
  std::string Calls() const;

  // The variable PATH, for a program that a test starts.
  std::map<std::string, std::string> Environment() const;

 private:
  void Write(const std::string& tool, const std::string& text);

  TemporaryFolder folder_;
};

// The variable PATH of this process.
std::string CurrentPath();

// Gives this process another PATH for as long as the object lives.
class PathOfThisProcess {
 public:
  explicit PathOfThisProcess(const std::string& path);
  PathOfThisProcess(const PathOfThisProcess&) = delete;
  PathOfThisProcess& operator=(const PathOfThisProcess&) = delete;
  ~PathOfThisProcess();

 private:
  std::string former_;
};

}  // namespace kvo::bootloadertms::testing
