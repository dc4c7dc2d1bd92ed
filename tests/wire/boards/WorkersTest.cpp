// Workers of the program, each in a process of its own, up to the go.
#include "boards/Workers.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include "boards/BoardLog.h"
#include "boards/BoardLoop.h"
#include "boards/WorkerProcess.h"
#include "support/Files.h"
#include "support/Processes.h"
#include "support/RecordedSystemCalls.h"
#include "support/TestTerminal.h"

namespace kvo::boards {
namespace {

using namespace std::chrono_literals;
using bootloadertms::testing::RecordedSystemCalls;
using bootloadertms::testing::RunningProgram;
using bootloadertms::testing::TemporaryFolder;
using bootloadertms::testing::TestTerminal;

constexpr auto kTooLong = 60s;

Event NextEventOf(WorkerProcess& process) {
  pollfd readable{.fd = process.Events().Descriptor(), .events = POLLIN, .revents = 0};
  EXPECT_EQ(::poll(&readable, 1, std::chrono::milliseconds(kTooLong).count()), 1);
  auto message = process.Events().Receive();
  return message ? message->event : Event();
}

class WorkersTest : public ::testing::Test {
 protected:
  WorkersTest() { plan_.command_line.dry_run = true; }

  // Begins to serve the board at that port; nothing is done with it after the go, unless asked for.
  // `prepare` is called in the worker's process.
  void Serve(const std::string& port, int attempt = 1, const std::function<void()>& prepare = {}) {
    assignment_.port = ParsePort(port);
    assignment_.answer_timeout = 200ms;
    workers_ = MakeWorkers(plan_);
    process_ = std::make_unique<WorkerProcess>([=, this](EventSender& events, int) {
      if (prepare) {
        prepare();
      }
      workers_->Serve(assignment_, attempt, events);
    });
  }

  Event NextEvent() { return NextEventOf(*process_); }

  void ExpectReady() {
    const Event event = NextEvent();
    EXPECT_EQ(event.kind, EventKind::kReady) << event.Text();
  }

  void ExpectFailed(Reason reason, const std::string& message) {
    const Event event = NextEvent();
    EXPECT_EQ(event.kind, EventKind::kFinished);
    EXPECT_EQ(NameOf(event.reason), NameOf(reason));
    EXPECT_EQ(event.Text(), message);
  }

  void ExpectExitStatusZero() {
    const auto limit = std::chrono::steady_clock::now() + kTooLong;
    while (!process_->WaitStatus() && std::chrono::steady_clock::now() < limit) {
      std::this_thread::sleep_for(5ms);
    }
    EXPECT_EQ(process_->WaitStatus(), 0);
  }

  const TestTerminal terminal_;
  const TemporaryFolder folder_;
  Assignment assignment_;
  Plan plan_;
  std::unique_ptr<Workers> workers_;
  std::unique_ptr<WorkerProcess> process_;
};

TEST(WorkerProcessTest, TheProcessEndsWithItsObject) {
  auto process = std::make_unique<WorkerProcess>([](EventSender& events, int) {
    Event event;
    event.SetText(std::to_string(::getpid()));
    events.Send(event);
    for (;;) {
      ::pause();
    }
  });
  const pid_t id = std::stoi(std::string(NextEventOf(*process).Text()));
  process.reset();
  ::waitpid(id, nullptr, 0);  // unless that has been done
  EXPECT_EQ(::kill(id, 0), -1);
}

// Freed memory is overwritten, so that what still uses it fails.
TEST_F(WorkersTest, AWorkerWithALogEndsWell) {
  for (const std::string& port : {terminal_.Path(), folder_.Path("none")}) {
    assignment_.log_path = folder_.Path("log");
    Serve(port, 1, [] { ::mallopt(M_PERTURB, 0xA5); });
    NextEvent();
    process_->Events().SendGo();
    ExpectExitStatusZero();
  }
}

TEST_F(WorkersTest, AWorkerThatIsToldToEndTellsWhereAndGivesBackItsPort) {
  termios found = terminal_.Settings();
  found.c_lflag |= ECHO;
  terminal_.SetSettings(found);
  plan_.bytes = 2048;
  Serve(terminal_.Path());
  ExpectReady();
  EXPECT_EQ(terminal_.Settings().c_lflag & ECHO, 0U);
  process_->Signal(SIGTERM);
  const Event stopped = NextEvent();
  EXPECT_EQ(stopped.kind, EventKind::kStopped);
  EXPECT_EQ(stopped.blocks, 2U);
  ExpectExitStatusZero();
  EXPECT_NE(terminal_.Settings().c_lflag & ECHO, 0U);
}

TEST_F(WorkersTest, APortThatCannotBeConfiguredIsToldByItsReason) {
  Serve(terminal_.Path(), 1, [] {
    auto* const calls = new RecordedSystemCalls;  // for as long as the process
    calls->Fail("tcgetattr", 1, EINVAL);
  });
  ExpectFailed(Reason::kMissing, "can't be opened: Invalid argument");
  ExpectExitStatusZero();
}

TEST_F(WorkersTest, APortThatFailsLaterIsToldWithTheSystemsReason) {
  plan_.command_line.dry_run = false;
  plan_.command_line.action = Action::kInfo;
  Serve(terminal_.Path(), 1, [] {
    auto* const calls = new RecordedSystemCalls;  // for as long as the process
    calls->Fail("write", 1, EINVAL, true);
  });
  ExpectReady();
  process_->Events().SendGo();
  EXPECT_EQ(NextEvent().step, Step::kAsking);
  ExpectFailed(Reason::kLost, "the port fails (Invalid argument)");
  ExpectExitStatusZero();
}

TEST_F(WorkersTest, WhatIsNoTerminalIsNotWaitedForByALaterAttempt) {
  Serve(folder_.WriteFile("file", ""), 2);
  ExpectFailed(Reason::kNotATerminal, "not a terminal");
  ExpectExitStatusZero();
}

TEST_F(WorkersTest, ABusyPortIsWaitedForByALaterAttempt) {
  RunningProgram holder({"sh", "-c", "exec 3<>$0; echo open; read line <&3", terminal_.Path()});
  holder.FirstLine();
  const UniqueDescriptor changes(::inotify_init1(IN_CLOEXEC));
  ASSERT_NE(::inotify_add_watch(changes.Get(), terminal_.Path().c_str(), IN_CLOSE), -1);
  Serve(terminal_.Path(), 2);
  pollfd closed{.fd = changes.Get(), .events = POLLIN, .revents = 0};
  ASSERT_EQ(::poll(&closed, 1, std::chrono::milliseconds(kTooLong).count()), 1);  // tried in vain
  holder.Signal(SIGKILL);
  ExpectReady();
}

TEST_F(WorkersTest, ALaterAttemptTellsWhoKeepsItsPort) {
  RunningProgram holder({"sh", "-c", "exec 3<>$0; echo open; read line <&3", terminal_.Path()});
  holder.FirstLine();
  Serve(terminal_.Path(), 2);
  ExpectFailed(Reason::kBusy, "in use by sh (process " + std::to_string(holder.Id()) + ")");
}

TEST_F(WorkersTest, APortThatHasJustAppearedIsWaitedFor) {
  plan_.command_line.action = Action::kWatch;
  const std::string port = folder_.Path("port");
  Serve(port);
  std::this_thread::sleep_for(200ms);  // within the two seconds, after the first look
  std::filesystem::create_symlink(terminal_.Path(), port);
  ExpectReady();
}

TEST_F(WorkersTest, APortThatHasJustAppearedFailsByItsReasonAfterTwoSeconds) {
  plan_.command_line.action = Action::kWatch;
  const auto start = std::chrono::steady_clock::now();
  Serve(folder_.Path("none"));
  ExpectFailed(Reason::kMissing, "there is no such device");
  const auto taken = std::chrono::steady_clock::now() - start;
  EXPECT_GE(taken, 2s);
  EXPECT_LT(taken, 15s);
  ExpectExitStatusZero();
}

// Without boards.
class LoopUntilNoChildIsLeft : public BoardLoop {
 public:
  LoopUntilNoChildIsLeft(const Limits& limits, Workers& workers, Display& display)
      : BoardLoop(limits, workers, display) {}

 private:
  bool IsOver() const override {
    siginfo_t end{};
    const bool has_none = ::waitid(P_ALL, 0, &end, WEXITED | WNOHANG | WNOWAIT) == -1;
    return has_none || Clock::now() > limit_;
  }
  void GoOn(Clock::time_point /*now*/) override {}
  void Interrupt(int /*times*/) override {}

  Clock::time_point limit_ = Clock::now() + 10s;
};

TEST_F(WorkersTest, AWorkerThatDoesNotEndAtOnceWhenItIsKilledIsReapedLater) {
  {
    RecordedSystemCalls calls;
    calls.Fail("waitpid", 1, EINTR, true);
    const WorkerProcess process([](EventSender&, int) { ::pause(); });
  }
  const std::unique_ptr<Display> display = MakeLogDisplay();
  const std::unique_ptr<Workers> workers = MakeWorkers(plan_);
  LoopUntilNoChildIsLeft({}, *workers, *display).Run();
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

}  // namespace
}  // namespace kvo::boards
