// Each call of the system that matters, and each allocation, fails in the real program, once and
// for good: in the process that all others come from, or in the one that serves a board.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using Reasons = std::vector<std::string>;

constexpr int kSupervisor = 0;
constexpr int kFirstWorker = 1;

// A function of the C library that fails in one of the processes, and by what a board may fail
// then.
struct FailingCall {
  int process;
  const char* name;
  int error;
  Reasons once;  // one board
  Reasons for_good;
};

struct Sweep {
  FailingCall call;
  std::string command;
  std::size_t boards;
  bool for_good;
};

void PrintTo(const Sweep& sweep, std::ostream* out) { *out << sweep.call.name; }

// A simulated board, and what its port was like before. In a watch all but the first are plugged in
// later.
struct BoardAtPort {
  SimulatedBoard board{{"--state", "bootloader"}};
  const PortAsItWas port{board.Path()};
};

// One run, in which the `count`th call fails.
class FaultyRun {
 public:
  FaultyRun(const Sweep& sweep, std::size_t count) : sweep_(sweep), boards_(sweep.boards) {
    std::vector<std::string> command = kTransferAlone;
    command.front() = sweep.command;
    command.insert(command.begin(), KVO_BOARDS);
    command = command + Reasons{"--deadline", "20", image_};
    const bool is_watch = sweep.command == "watch";
    if (is_watch) {
      command = command + Reasons{folder_.Path("port*"), "--count", std::to_string(sweep.boards)};
      PlugIn(0);
    }
    for (std::size_t i = 0; i < sweep.boards && !is_watch; ++i) {
      PlugIn(i);
      command.push_back(PortOf(i));
    }
    RunningProgram program(command, {{"LD_PRELOAD", KVO_FAILING_CALLS_LIBRARY},
                                     {"KVO_FAILING_CALLS", FaultAt(count)}});
    for (std::size_t i = 1; i < sweep.boards && is_watch; ++i) {
      program.WaitUntil([&] { return !program.Output().empty(); }, 60s);
      PlugIn(i);
    }
    report_ = ReportOf(program);
  }

  std::size_t FailedCalls() const { return ReadFile(failures_).size(); }
  const Report& GetReport() const { return report_; }

  void ExpectNothingIsLeft() const {
    EXPECT_TRUE(AllProcessesEnd());
    for (const BoardAtPort& board : boards_) {
      board.port.ExpectGivenBack();
    }
  }

  // Nobody is told to be flashed who isn't, nor has a run gone well in which somebody isn't.
  void ExpectTruth() const {
    for (std::size_t i = 0; i < boards_.size(); ++i) {
      if (report_.exit_status == 0 || IsToldToBeFlashed(i)) {
        EXPECT_TRUE(boards_[i].board.Flash() == content_);
      }
    }
    EXPECT_FALSE(report_.error_output.empty() && report_.All("summary").empty());
  }

  void ExpectReport() {
    if (report_.exit_status == 2) {
      ExpectNothingIsBegun();
      return;
    }
    Reasons failures;
    for (std::size_t i = 0; i < boards_.size(); ++i) {
      const Json finished = report_.Only("finished", PortOf(i));
      if (!IsToldToBeFlashed(i)) {
        failures.push_back(finished.value("reason", ""));
        EXPECT_THAT(finished, FailedBy(failures.back()));
        EXPECT_TRUE(sweep_.call.process == kSupervisor || i == 0) << "it harms another one";
        if (failures.back() == "lost" && finished.contains("block") && !sweep_.for_good) {
          EXPECT_THAT(BytesIn(boards_[i].board.Trace(), ">"), ::testing::EndsWith(kCanCan));
        }
      }
    }
    EXPECT_THAT(sweep_.for_good ? sweep_.call.for_good : sweep_.call.once,
                ::testing::IsSupersetOf(std::set<std::string>(failures.begin(), failures.end())));
    EXPECT_LE(failures.size(), sweep_.for_good ? boards_.size() : 1);
    EXPECT_EQ(report_.exit_status, failures.empty() ? 0 : 1);
    EXPECT_THAT(report_.Only("summary"),
                HasFields(Json{{"flashed", boards_.size() - failures.size()},
                               {"failed", failures.size()}}));
  }

  // It doesn't try again and again as fast as it can.
  void ExpectPatience() const {
    for (const Json& summary : report_.All("summary")) {
      const double seconds = summary.value("seconds", 0.0) * static_cast<double>(boards_.size());
      EXPECT_LT(static_cast<double>(FailedCalls()), 1000 + 4000 * seconds);
    }
  }

 private:
  void PlugIn(std::size_t i) const {
    std::filesystem::create_symlink(boards_[i].board.Path(), PortOf(i));
  }

  std::string PortOf(std::size_t i) const { return folder_.Path("port" + std::to_string(i)); }

  std::string FaultAt(std::size_t count) const {
    std::ostringstream fault;
    fault << sweep_.call.process << ' ' << sweep_.call.name << ' ' << count << ' '
          << (sweep_.for_good ? 1000000000 : count) << ' ' << sweep_.call.error << ' ' << failures_;
    return fault.str();
  }

  // Of this run; they have its environment.
  bool AllProcessesEnd() const {
    const auto limit = std::chrono::steady_clock::now() + 20s;
    const auto is_of_this_run = [this](const auto& process) {
      return ReadFile(process.path() / "environ").find(failures_) != std::string::npos;
    };
    while (std::ranges::any_of(std::filesystem::directory_iterator("/proc"), is_of_this_run)) {
      if (std::chrono::steady_clock::now() >= limit) {
        return false;
      }
      std::this_thread::sleep_for(5ms);
    }
    return true;
  }

  bool IsToldToBeFlashed(std::size_t i) const {
    return !report_.All("finished", PortOf(i)).empty() &&
           report_.Only("finished", PortOf(i)).value("result", "") == "flashed";
  }

  void ExpectNothingIsBegun() const {
    EXPECT_EQ(sweep_.call.process, kSupervisor);
    EXPECT_EQ(report_.output, "");
  }

  const Sweep& sweep_;
  const TemporaryFolder folder_;
  const std::string failures_ = folder_.Path("failures");
  const std::string content_ = ImageOf(1500);
  const std::string image_ = folder_.WriteFile("fw_tv.bin", content_);
  std::vector<BoardAtPort> boards_;
  Report report_;
};

class FaultSweep : public ::testing::TestWithParam<Sweep> {
 protected:
  // Several at once, as they mostly wait.
  void Try(const std::function<void(FaultyRun&)>& check) {
    std::atomic<std::size_t> next = 1;
    std::atomic<bool> is_over = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        while (!is_over && !HasFailure()) {
          const std::size_t count = next++;
          FaultyRun run(GetParam(), count);
          SCOPED_TRACE(std::to_string(count) + ": " + run.GetReport().output +
                       run.GetReport().error_output);
          check(run);
          if (run.FailedCalls() == 0) {
            is_over = true;
            EXPECT_EQ(run.GetReport().exit_status, 0);
            EXPECT_GT(count, 1U) << "nothing was tried";
          }
        }
      });
    }
    std::ranges::for_each(threads, &std::thread::join);
  }
};

TEST_P(FaultSweep, EndsWithEachBoardsResultAndLeavesNothing) {
  Try([](FaultyRun& run) {
    run.ExpectNothingIsLeft();
    run.ExpectTruth();
    run.ExpectReport();
    run.ExpectPatience();
  });
}

// The program may end in any way: the library that makes JSON allocates in a destructor, too, and
// aborts it then.
class AllocationSweep : public FaultSweep {};

TEST_P(AllocationSweep, TellsNothingThatIsNotTrueAndLeavesNothing) {
  Try([](const FaultyRun& run) {
    run.ExpectNothingIsLeft();
    run.ExpectTruth();
  });
}

std::vector<Sweep> SweepsOf(const std::vector<FailingCall>& calls,
                            const std::vector<std::pair<std::string, std::size_t>>& commands) {
  std::vector<Sweep> sweeps;
  for (const FailingCall& call : calls) {
    for (const auto& [command, boards] : commands) {
      sweeps.push_back({call, command, boards, false});
      sweeps.push_back({call, command, boards, true});
    }
  }
  return sweeps;
}

std::string NameOf(const ::testing::TestParamInfo<Sweep>& row) {
  return row.param.command + std::to_string(row.param.boards) +
         (row.param.call.process == kSupervisor ? "_supervisor_" : "_worker_") +
         row.param.call.name + (row.param.for_good ? "_for_good" : "");
}

INSTANTIATE_TEST_SUITE_P(
    Flash, FaultSweep,
    ::testing::ValuesIn(SweepsOf(
        {
            {kSupervisor, "open", EMFILE, {}, {}},
            {kSupervisor, "signalfd", EMFILE, {}, {}},
            {kSupervisor, "socketpair", EMFILE, {"crashed"}, {"crashed"}},
            {kSupervisor, "fork", EAGAIN, {"crashed"}, {"crashed"}},
            {kSupervisor, "send", ENOBUFS, {}, {"crashed"}},
            {kSupervisor, "recvmsg", ENOMEM, {}, {"crashed", "deadline"}},
            {kSupervisor, "poll", ENOMEM, {}, {}},
            {kSupervisor, "read", EIO, {}, {}},
            {kSupervisor, "waitpid", EINTR, {}, {}},
            {kSupervisor, "close", EIO, {}, {}},
            {kFirstWorker, "fcntl", EMFILE, {"crashed"}, {"crashed"}},
            {kFirstWorker, "dup2", EMFILE, {"crashed"}, {"crashed"}},
            {kFirstWorker, "open", EMFILE, {"missing", "broken"}, {"missing", "broken"}},
            {kFirstWorker, "isatty", EIO, {"missing"}, {"missing"}},
            {kFirstWorker, "ioctl", EIO, {"lost"}, {"lost"}},
            {kFirstWorker, "flock", ENOLCK, {"missing"}, {"missing"}},
            {kFirstWorker, "tcgetattr", EIO, {"lost"}, {"lost"}},
            {kFirstWorker, "tcsetattr", EIO, {"lost"}, {"lost"}},
            {kFirstWorker, "tcflush", EIO, {"lost"}, {"lost"}},
            {kFirstWorker, "read", EIO, {"lost", "broken"}, {"lost", "broken"}},
            {kFirstWorker, "write", EIO, {"lost"}, {"lost"}},
            {kFirstWorker, "poll", ENOMEM, {"lost"}, {"lost"}},
            {kFirstWorker, "close", EIO, {}, {}},
            {kFirstWorker, "send", ENOBUFS, {}, {"crashed"}},
            {kFirstWorker, "sendmsg", ENOBUFS, {}, {"crashed"}},
            {kFirstWorker, "recv", ENOMEM, {}, {"crashed"}},
        },
        {{"flash", 1}, {"flash", 3}})),
    NameOf);

INSTANTIATE_TEST_SUITE_P(Watch, FaultSweep,
                         ::testing::ValuesIn(SweepsOf(
                             {
                                 {kSupervisor, "inotify_init1", EMFILE, {}, {}},
                                 {kSupervisor, "inotify_add_watch", ENOSPC, {}, {}},
                                 {kSupervisor, "read", EIO, {}, {}},
                                 {kSupervisor, "poll", ENOMEM, {}, {}},
                             },
                             {{"watch", 2}})),
                         NameOf);

INSTANTIATE_TEST_SUITE_P(, AllocationSweep,
                         ::testing::ValuesIn(SweepsOf({{kSupervisor, "malloc", ENOMEM, {}, {}}},
                                                      {{"flash", 2}, {"watch", 1}})),
                         NameOf);

}  // namespace
}  // namespace kvo::bootloadertms::testing
