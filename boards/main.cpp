#include <fcntl.h>
#include <nss.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "boards/BoardLog.h"
#include "boards/CommandLine.h"
#include "boards/List.h"
#include "boards/Plan.h"
#include "boards/Supervisor.h"
#include "boards/Workers.h"
#include "boards/display/DisplayChoice.h"

namespace kvo::boards {
namespace {

constexpr int kNothingBegun = 2;
constexpr int kEndedBySignal = 128;
constexpr std::chrono::milliseconds kLongestReportInHaste{200};

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
  for (const PortAddress& port : plan.command_line.ports) {
    BoardStatus board;
    board.port = port.name;
    board.board = plan.board;
    board.application = plan.application;
    board.bytes = plan.bytes;
    boards.push_back(board);
  }
  return boards;
}

std::vector<std::string> MakeLogs(const CommandLine& command_line) {
  if (command_line.log_folder.empty()) {
    return {};
  }
  std::vector<std::string> names;
  for (const PortAddress& port : command_line.ports) {
    names.push_back(port.name);
  }
  try {
    std::filesystem::create_directories(command_line.log_folder);
  } catch (const std::filesystem::filesystem_error& error) {
    throw WrongPlan("--log-dir: " + command_line.log_folder + ": " + error.code().message());
  }
  std::vector<std::string> paths = LogPaths(command_line.log_folder, names);
  for (const std::string& path : paths) {
    if (!BoardLog(path).IsOpen()) {
      throw WrongPlan("--log-dir: " + path + " can't be written");
    }
  }
  return paths;
}

void LeaveAtOnce(int signal) { ::_exit(kEndedBySignal + signal); }

// Returns the signal that ended it, or 0. The report may not be read by anybody: from now on a
// signal ends the program, and after two of them it ends by itself.
int ServeBoards(Supervisor& supervisor) {
  const int signal = supervisor.Run();
  for (const int other : {SIGINT, SIGTERM, SIGHUP}) {
    if (std::signal(other, LeaveAtOnce) == SIG_IGN) {
      std::signal(other, SIG_IGN);
    }
  }
  if (supervisor.HasBeenToldTwice()) {
    std::thread([signal] {
      std::this_thread::sleep_for(kLongestReportInHaste);
      LeaveAtOnce(signal);
    }).detach();
  }
  return signal;
}

int Run(const Plan& plan) {
  const std::vector<std::string> logs = MakeLogs(plan.command_line);
  std::vector<BoardStatus> boards = BoardsOf(plan);
  const Limits limits = {.jobs = plan.command_line.jobs,
                         .attempts = plan.command_line.attempts,
                         .deadlines = plan.deadlines};
  const Clock::time_point start = Clock::now();
  const std::unique_ptr<Workers> workers = MakeWorkers(plan, logs);
  std::vector<std::unique_ptr<Display>> displays;
  displays.push_back(ChooseDisplay(plan.command_line, boards));
  if (!logs.empty()) {
    displays.push_back(MakeLogDisplay(boards, logs));
  }
  const std::unique_ptr<Display> display = Together(std::move(displays));
  auto supervisor = std::make_unique<Supervisor>(boards, limits, *workers, *display);
  const int signal = ServeBoards(*supervisor);
  supervisor.reset();  // it keeps signals for itself
  const Totals totals =
      TotalsOf(boards, std::chrono::duration<double>(Clock::now() - start).count());
  display->Finish(totals);
  if (signal != 0) {
    return kEndedBySignal + signal;
  }
  return totals.failed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
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
    return kNothingBegun;
  }
}

}  // namespace
}  // namespace kvo::boards

int main(int argc, char** argv) { return kvo::boards::Main(argc, argv); }
