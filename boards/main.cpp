#include <fcntl.h>
#include <nss.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "boards/BoardLog.h"
#include "boards/CommandLine.h"
#include "boards/List.h"
#include "boards/Plan.h"
#include "boards/Supervisor.h"
#include "boards/Watch.h"
#include "boards/Workers.h"
#include "boards/display/DisplayChoice.h"

namespace kvo::boards {
namespace {

constexpr int kNothingBegun = 2;
constexpr int kEndedBySignal = 128;
constexpr suseconds_t kLongestReportInHaste = 200000;  // microseconds

int g_status_of_a_failure = kNothingBegun;
int g_ended_by = 0;  // a signal

// A port must not become standard output.
void OpenStandardDescriptors() {
  int descriptor = -1;
  do {
    descriptor = ::open("/dev/null", O_RDWR);
  } while (descriptor != -1 && descriptor <= STDERR_FILENO);
  ::close(descriptor);
}

// A program that needs no libraries can't load the modules that /etc/nsswitch.conf may name. Those
// named here are built in.
void KeepToBuiltInLookups() {
#ifdef KVO_STATIC
  ::__nss_configure_lookup("hosts", "files dns");
  ::__nss_configure_lookup("group", "files");
#endif
}

std::vector<BoardStatus> BoardsOf(const Plan& plan) {
  std::vector<BoardStatus> boards;
  for (const Assignment& assignment : plan.assignments) {
    boards.push_back(BeforeTheFirstAttempt(plan, assignment));
  }
  return boards;
}

void MakeLogFolder(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (!error && ::access(folder.c_str(), W_OK | X_OK) != 0) {
    error.assign(errno, std::generic_category());
  }
  if (error) {
    throw WrongPlan("--log-dir: " + folder + ": " + error.message());
  }
}

void MakeLogs(const std::string& folder, std::vector<Assignment>& assignments) {
  std::vector<std::string> names;
  for (const Assignment& assignment : assignments) {
    names.push_back(assignment.port.name);
  }
  const std::vector<std::string> paths = LogPaths(folder, names);
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (!BoardLog(paths[i]).IsOpen()) {
      throw WrongPlan("--log-dir: " + paths[i] + " can't be written");
    }
    assignments[i].log_path = paths[i];
  }
}

void LeaveAtOnce(int signal) {
  ::_exit(kEndedBySignal + (signal == SIGALRM ? g_ended_by : signal));
}

// Returns the signal that ended it, or 0. The report may not be read by anybody: from now on a
// signal ends the program, and after haste it ends by itself.
int ServeBoards(BoardLoop& boards) {
  g_status_of_a_failure = EXIT_FAILURE;
  const int signal = boards.Run();
  for (const int other : {SIGINT, SIGTERM, SIGHUP}) {
    if (std::signal(other, LeaveAtOnce) == SIG_IGN) {
      std::signal(other, SIG_IGN);
    }
  }
  if (boards.IsInHaste()) {
    g_ended_by = signal;
    std::signal(SIGALRM, LeaveAtOnce);
    const itimerval limit = {.it_interval = {}, .it_value = {0, kLongestReportInHaste}};
    ::setitimer(ITIMER_REAL, &limit, nullptr);
  }
  return signal;
}

std::unique_ptr<Display> MakeDisplay(const CommandLine& command_line,
                                     const std::vector<BoardStatus>& boards) {
  std::vector<std::unique_ptr<Display>> displays;
  displays.push_back(ChooseDisplay(command_line, boards));
  if (!command_line.log_folder.empty()) {
    displays.push_back(MakeLogDisplay());
  }
  return Together(std::move(displays));
}

struct Served {
  int signal;
  Totals totals;
};

// The loop ends with these calls, as it keeps signals for itself.
Served ServeAll(const Plan& plan, const Limits& limits, std::vector<BoardStatus>& boards,
                Workers& workers, Display& display) {
  Supervisor supervisor(plan.assignments, boards, limits, workers, display);
  const int signal = ServeBoards(supervisor);
  return {signal, TotalsOf(boards)};
}

Served ServeThoseThatCome(const Plan& plan, const Limits& limits, Workers& workers,
                          Display& display) {
  Watch watch(plan, limits, workers, display);
  const int signal = ServeBoards(watch);
  return {signal, watch.GetTotals()};
}

int Run(Plan plan) {
  const CommandLine& command_line = plan.command_line;
  if (!command_line.log_folder.empty()) {
    MakeLogFolder(command_line.log_folder);
    MakeLogs(command_line.log_folder, plan.assignments);
  }
  std::vector<BoardStatus> boards = BoardsOf(plan);
  const Limits limits = {.jobs = command_line.jobs, .attempts = command_line.attempts};
  const Clock::time_point start = Clock::now();
  const std::unique_ptr<Workers> workers = MakeWorkers(plan);
  const std::unique_ptr<Display> display = MakeDisplay(command_line, boards);
  Served served = command_line.action == Action::kWatch
                      ? ServeThoseThatCome(plan, limits, *workers, *display)
                      : ServeAll(plan, limits, boards, *workers, *display);
  served.totals.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  display->Finish(served.totals);
  if (served.signal != 0) {
    return kEndedBySignal + served.signal;
  }
  return served.totals.failed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int Main(int argc, const char* const* argv) {
  OpenStandardDescriptors();
  KeepToBuiltInLookups();
  std::signal(SIGPIPE, SIG_IGN);
  CommandLine command_line;
  if (const std::optional<int> status = ParseCommandLine(argc, argv, command_line)) {
    return *status;
  }
  try {
    if (command_line.action == Action::kList) {
      return List(command_line);
    }
    return Run(MakePlan(std::move(command_line)));
  } catch (const std::exception& error) {
    std::cerr << "kvo-boards: " << error.what() << '\n';
    return g_status_of_a_failure;
  }
}

}  // namespace
}  // namespace kvo::boards

int main(int argc, char** argv) { return kvo::boards::Main(argc, argv); }
