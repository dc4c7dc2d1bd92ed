// What a worker inherits and leaves behind, and what becomes of its board without it.
#include "boards/WorkerProcess.h"

#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cstdio>
#include <memory>
#include <optional>

#include "wire/boards/FailingCall.h"
#include "wire/boards/SupervisedBoards.h"

namespace kvo::boards::testing {
namespace {

class WorkerProcessTest : public SupervisedBoards {};

TEST_F(WorkerProcessTest, EndsOfWorkersAreSeenAlsoIfTheirSignalWasIgnored) {
  std::signal(SIGCHLD, SIG_IGN);
  AddGoodBoard();
  EXPECT_EQ(Run(), 0);
  std::signal(SIGCHLD, SIG_DFL);
  ExpectGood(0);
  EXPECT_EQ(notes_->given_back.at(0), 0);
}

TEST_F(WorkerProcessTest, AWorkerHasSignalsAndStreamsOfItsOwn) {
  AddBoard([](int, EventSender& events) {
    const auto is_ignored = [](int signal) {
      struct sigaction action {};
      return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
    };
    const auto leads_nowhere = [](int descriptor) {
      struct stat status {};
      return ::fstat(descriptor, &status) == 0 && status.st_rdev == ::makedev(1, 3);
    };
    sigset_t blocked;
    int comes_when_the_supervisor_ends = 0;
    if (is_ignored(SIGINT) && is_ignored(SIGHUP) && is_ignored(SIGQUIT) &&
        ::sigprocmask(SIG_SETMASK, nullptr, &blocked) == 0 && ::sigisemptyset(&blocked) == 1 &&
        ::prctl(PR_GET_PDEATHSIG, &comes_when_the_supervisor_ends) == 0 &&
        comes_when_the_supervisor_ends == SIGTERM && leads_nowhere(STDIN_FILENO) &&
        leads_nowhere(STDOUT_FILENO)) {
      events.Send(Finished(Outcome::kFlashed));
    }
  });
  EXPECT_EQ(Run(), 0);
  ExpectGood(0);
}

TEST_F(WorkerProcessTest, NoWorkerWritesWhatIsBuffered) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
  std::fputs("once", file.get());
  AddGoodBoard();
  EXPECT_EQ(Run(), 0);
  std::fseek(file.get(), 0, SEEK_END);
  EXPECT_EQ(std::ftell(file.get()), 4);
}

TEST_F(WorkerProcessTest, AWorkerHoldsNothingOfOthers) {
  std::array<int, 2> pipe{};
  ASSERT_EQ(::pipe(pipe.data()), 0);
  AddBoard([](int, EventSender& events) {
    for (int descriptor = 4; descriptor < 256; ++descriptor) {
      if (::fcntl(descriptor, F_GETFD) != -1) {
        return;  // which is a crash
      }
    }
    events.Send(Finished(Outcome::kFlashed));
  });
  EXPECT_EQ(Run(), 0);
  ::close(pipe[0]);
  ::close(pipe[1]);
  ExpectGood(0);
}

const std::string kNoProcess = "no process can be started: fork: Resource temporarily unavailable";

TEST_F(WorkerProcessTest, ABoardForWhichThereIsNoProcessFailsAlone) {
  AddGoodBoard();
  AddGoodBoard();
  const FailingCall fork("fork", EAGAIN);
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, Reason::kCrashed, kNoProcess + " before anything was sent");
  ExpectGood(1);
}

TEST_F(WorkerProcessTest, AWorkerThatCannotKeepItsChannelFails) {
  AddGoodBoard();
  const FailingCall dup2("dup2", EMFILE);
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, Reason::kCrashed,
               "the process that served it ended with status 1 before anything was sent");
}

TEST_F(WorkerProcessTest, AWorkerThatCannotBeToldToBeginIsEnded) {
  AddGoodBoard();
  std::optional<FailingCall> send;
  display_.on_change = [&send](const BoardStatus&, Change change) {
    if (change == Change::kAttempt) {
      send.emplace("send", ENOBUFS, -1, 3);
    }
  };
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, Reason::kCrashed,
               "the process that serves it can't be told to begin before anything was sent");
  EXPECT_EQ(notes_->told_to_end.at(0), 1);
}

TEST_F(WorkerProcessTest, AnAttemptThatDoesNotComeAboutTellsWhyTheFormerFailed) {
  limits_.attempts = 2;
  AddBoard([](int, EventSender& events) {
    events.Send(Finished(Outcome::kFailed, Reason::kBroken, "so it was"));
  });
  std::optional<FailingCall> fork;
  display_.on_change = [&fork](const BoardStatus&, Change) { fork.emplace("fork", EAGAIN); };
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, Reason::kCrashed,
               kNoProcess + " before another attempt; the last one: so it was");
}

TEST_F(WorkerProcessTest, AGivingBackThatHangsHoldsNobodyUp) {
  hangs_when_given_back_ = true;
  AddBoard([](int, EventSender& events) {
    BeginTransfer(events);
    ::raise(SIGKILL);
  });
  AddGoodBoard();
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, Reason::kCrashed,
               "the process that served it was ended by signal 9 (Killed)" + kAtBlock17);
  ExpectGood(1);
}

TEST_F(WorkerProcessTest, AWorkerThatEndsBeforeItsPortIsOpenLeavesNothingToGiveBack) {
  before_opening_ = [](std::size_t) { ::raise(SIGKILL); };
  AddGoodBoard();
  EXPECT_EQ(Run(), 0);
  ExpectFailed(
      0, Reason::kCrashed,
      "the process that served it was ended by signal 9 (Killed) before anything was sent");
  EXPECT_EQ(notes_->given_back.at(0), 0);
}

}  // namespace
}  // namespace kvo::boards::testing
