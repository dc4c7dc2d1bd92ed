// A supervisor that is interrupted or fails, and workers that don't end when they should.
#include <sys/prctl.h>
#include <sys/ptrace.h>

#include <optional>
#include <thread>

#include "wire/boards/FailingCall.h"
#include "wire/boards/SupervisedBoards.h"

namespace kvo::boards::testing {
namespace {

void InterruptTwiceAtBlock17(const BoardStatus& board, Change change) {
  if (change == Change::kProgress && board.block == 17) {
    ::raise(SIGINT);
    ::raise(SIGHUP);
  }
}

class SupervisorEndTest : public SupervisedBoards {};

TEST_F(SupervisorEndTest, AnInterruptEndsWhatIsInWorkAndBeginsNothing) {
  limits_.jobs = 1;
  limits_.attempts = 3;
  AddBoard([](int, EventSender& events) {
    BeginTransfer(events);
    Hang();
  });
  AddGoodBoard();
  display_.on_change = [](const BoardStatus& board, Change change) {
    if (change == Change::kProgress && board.block == 17) {
      ::raise(SIGTERM);
    }
  };
  EXPECT_EQ(Run(), SIGTERM);
  ExpectFailed(0, Reason::kInterrupted, "interrupted" + kAtBlock17);
  EXPECT_EQ(notes_->told_to_end.at(0), 1);
  ExpectFailed(1, Reason::kInterrupted, "interrupted before anything was sent");
  EXPECT_EQ(boards_.at(1).attempt, 0);
  sigset_t blocked;
  ASSERT_EQ(::sigprocmask(SIG_SETMASK, nullptr, &blocked), 0);
  EXPECT_EQ(::sigismember(&blocked, SIGTERM), 0);  // any longer
}

TEST_F(SupervisorEndTest, ASecondInterruptEndsWorkersThatDoNotEndByThemselves) {
  before_opening_ = [](std::size_t) { std::signal(SIGTERM, SIG_IGN); };
  AddBoard([](int, EventSender& events) {
    BeginTransfer(events);
    Hang();
  });
  display_.on_change = InterruptTwiceAtBlock17;
  EXPECT_EQ(Run(), SIGINT);
  ExpectFailed(0, Reason::kInterrupted, "interrupted" + kAtBlock17);
  EXPECT_EQ(notes_->given_back.at(0), 2);
}

TEST_F(SupervisorEndTest, APortIsGivenBackEvenIfNoProcessCanBeStarted) {
  AddBoard([](int, EventSender& events) {
    BeginTransfer(events);
    ::raise(SIGKILL);
  });
  std::optional<FailingCall> fork;
  display_.on_change = [&fork](const BoardStatus&, Change change) {
    if (change == Change::kProgress) {
      fork.emplace("fork", EAGAIN);
    }
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(notes_->given_back.at(0), 2);
}

TEST_F(SupervisorEndTest, AWaitForNewsThatFailsIsNotTriedAgainAsFastAsItGoes) {
  AddBoard([](int, EventSender& events) {
    std::this_thread::sleep_for(500ms);
    events.Send(Finished(Outcome::kFlashed));
  });
  int tries = 0;
  FailingCall poll("poll", ENOMEM, -1, 1'000'000);
  poll.on_call = [&tries] { ++tries; };
  EXPECT_EQ(Run(), 0);
  ExpectGood(0);
  EXPECT_LT(tries, 20'000);
}

TEST_F(SupervisorEndTest, AFailureOfItsOwnEndsAllBoardsAsAnInterruptDoes) {
  limits_.attempts = 3;
  for (int i = 0; i < 3; ++i) {
    AddBoard([i](int, EventSender& events) {
      if (i == 1) {
        std::signal(SIGTERM, SIG_IGN);
      }
      BeginTransfer(events);
      Hang();
    });
  }
  int in_transfer = 0;
  display_.on_change = [&in_transfer](const BoardStatus& board, Change change) {
    in_transfer += change == Change::kProgress && board.block == 17 ? 1 : 0;
    if (in_transfer == 3) {
      throw std::bad_alloc();
    }
  };
  EXPECT_THROW(Run(), std::bad_alloc);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(notes_->told_to_end.at(i), i == 1 ? 0 : 1);
    EXPECT_EQ(notes_->given_back.at(i), i == 1 ? 2 : 0);
    ExpectFailed(i, Reason::kInterrupted, "interrupted" + kAtBlock17);
  }
}

TEST_F(SupervisorEndTest, ASecondInterruptEndsAlsoAWorkerThatHasFinishedAndHangs) {
  before_opening_ = [](std::size_t) { std::signal(SIGTERM, SIG_IGN); };
  AddBoard([](int, EventSender& events) {
    events.Send(Finished(Outcome::kFlashed));
    ::kill(::getppid(), SIGINT);
    ::kill(::getppid(), SIGHUP);
    Hang();
  });
  Run();
  ExpectGood(0);
  EXPECT_EQ(notes_->given_back.at(0), 1);
}

TEST_F(SupervisorEndTest, AnIgnoredSignalStaysIgnored) {
  std::signal(SIGHUP, SIG_IGN);
  AddBoard([](int, EventSender& events) {
    ::kill(::getppid(), SIGHUP);
    events.Send(Finished(Outcome::kFlashed));
  });
  EXPECT_EQ(Run(), 0);
  std::signal(SIGHUP, SIG_DFL);
  ExpectGood(0);
}

// A worker whose end nobody sees, as that of one that hangs in the system: another process traces
// it and takes no notice.
class HangingWorkerTest : public SupervisedBoards {
 protected:
  HangingWorkerTest() {
    AddBoard([this](int, EventSender& events) {
      ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
      const pid_t worker = ::getpid();
      if (::fork() == 0) {
        notes_->tracer = ::ptrace(PTRACE_SEIZE, worker, nullptr, nullptr) == 0 ? ::getpid() : -1;
        Hang();
      }
      while (notes_->tracer == 0) {
        std::this_thread::sleep_for(1ms);
      }
      BeginTransfer(events);
      Hang();
    });
  }
  ~HangingWorkerTest() override {
    EXPECT_GT(notes_->tracer, 0);
    ::kill(notes_->tracer, SIGKILL);
  }
};

TEST_F(HangingWorkerTest, IsLeftToItselfAndItsPortGivenBack) {
  AddGoodBoard();
  assignments_.front().deadline = 500ms;
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, Reason::kDeadline, "not finished after 0.5 s" + kAtBlock17);
  EXPECT_EQ(notes_->given_back.at(0), 2);
  ExpectGood(1);
}

TEST_F(HangingWorkerTest, DoesNotKeepASecondInterruptWaiting) {
  hangs_when_given_back_ = true;
  display_.on_change = InterruptTwiceAtBlock17;
  EXPECT_EQ(Run(), SIGINT);
  ExpectFailed(0, Reason::kInterrupted, "interrupted" + kAtBlock17);
  EXPECT_EQ(notes_->given_back.at(0), 0);
}

// One board by itself, at a time of the test's own.
class BoardRunTest : public SupervisedBoards {
 protected:
  BoardRunTest() {
    AddGoodBoard();
    run_.emplace(assignments_.front(), boards_.front(), limits_, *this, display_);
  }

  std::optional<BoardRun> run_;
};

TEST_F(BoardRunTest, APortThatIsNotOpenAfterFifteenSecondsIsGivenUp) {
  before_opening_ = [](std::size_t) { Hang(); };
  run_->Open();
  run_->LookAround(Clock::now() + 15s);
  while (!run_->IsDone()) {
    std::this_thread::sleep_for(1ms);
    run_->LookAround(Clock::now());
  }
  ExpectFailed(0, Reason::kDeadline, "the port was not open after 15 s before anything was sent");
}

TEST_F(BoardRunTest, ABoardThatIsAbandonedIsInterrupted) {
  run_->Open();
  run_->Abandon();
  ExpectFailed(0, Reason::kInterrupted, "interrupted before anything was sent");
}

}  // namespace
}  // namespace kvo::boards::testing
