// The supervisor with real processes, whose work is made up: each notes in memory that all share
// what it does.
#include "boards/Supervisor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>

#include "wire/boards/FailingCall.h"
#include "wire/boards/NoMoreDescriptors.h"

namespace kvo::boards::testing {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMostBoards = 8;

// What processes note.
struct Notes {
  std::atomic<int> served_now;
  std::atomic<int> served_at_most;
  std::atomic<int> open_ports;
  std::atomic<int> open_ports_at_first_go;
  std::atomic<pid_t> tracer;
  std::array<std::atomic<int>, kMostBoards> given_back;  // 1: not in a transfer, 2: in one
  std::array<std::atomic<int>, kMostBoards> told_to_end;
};

class SharedNotes {
 public:
  SharedNotes()
      : notes_(new (::mmap(nullptr, sizeof(Notes), PROT_READ | PROT_WRITE,
                           MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Notes{}) {}
  SharedNotes(const SharedNotes&) = delete;
  SharedNotes& operator=(const SharedNotes&) = delete;
  ~SharedNotes() { ::munmap(notes_, sizeof(Notes)); }
  Notes* operator->() const { return notes_; }

 private:
  Notes* notes_;
};

Event Finished(Outcome outcome, Reason reason = {}, const std::string& message = "") {
  Event event;
  event.kind = EventKind::kFinished;
  event.outcome = outcome;
  event.reason = reason;
  event.SetText(message);
  return event;
}

void BeginTransfer(const EventSender& events) {
  Event event;
  event.kind = EventKind::kStep;
  event.step = Step::kTransfer;
  event.blocks = 256;
  events.Send(event);
  event.kind = EventKind::kProgress;
  event.block = 17;
  events.Send(event);
}

[[noreturn]] void Hang() {
  for (;;) {
    ::pause();
  }
}

// Where a worker that is told to end notes it.
std::atomic<int>* g_told_to_end = nullptr;

// The recorded changes of the boards.
class RecordingDisplay : public Display {
 public:
  void Show(const BoardStatus& board, Change change) override {
    if (change == Change::kAttempt) {
      ++attempts[board.port];
    } else if (change == Change::kEnd) {
      ++ends[board.port];
    }
    if (on_change) {
      on_change(board, change);
    }
  }
  void Refresh() override { ++refreshes; }
  void Finish(const Totals& /*totals*/) override {}

  int refreshes = 0;
  std::map<std::string, int> attempts;
  std::map<std::string, int> ends;
  std::function<void(const BoardStatus&, Change)> on_change;
};

class SupervisorTest : public ::testing::Test, public Workers {
 protected:
  using Work = std::function<void(int attempt, EventSender& events)>;

  void AddBoard(const Work& work) {
    BoardStatus board;
    board.port = std::to_string(boards_.size());
    boards_.push_back(board);
    works_.push_back(work);
    Assignment assignment;
    assignment.port.name = board.port;
    assignment.deadline = 60s;
    assignments_.push_back(assignment);
  }

  void AddGoodBoard() {
    AddBoard([](int, EventSender& events) { events.Send(Finished(Outcome::kFlashed)); });
  }

  int Run() {
    start_ = Clock::now();
    const std::clock_t worked = std::clock();
    const int signal = Supervisor(assignments_, boards_, limits_, *this, display_).Run();
    taken_ = Clock::now() - start_;
    processor_seconds_ = static_cast<double>(std::clock() - worked) / CLOCKS_PER_SEC;
    return signal;
  }

  void ExpectGood(std::size_t board) {
    EXPECT_EQ(boards_.at(board).end->outcome, Outcome::kFlashed);
  }

  void ExpectFailed(std::size_t board, Reason reason, const std::string& message) {
    const BoardStatus::End& end = *boards_.at(board).end;
    EXPECT_EQ(end.outcome, Outcome::kFailed);
    EXPECT_EQ(NameOf(end.reason), NameOf(reason));
    EXPECT_EQ(end.message, message);
  }

  // In the worker's process.
  void Serve(const Assignment& assignment, int attempt, EventSender& events) override {
    const std::size_t board = std::stoul(assignment.port.name);
    g_told_to_end = &notes_->told_to_end.at(board);
    std::signal(SIGTERM, [](int) {
      ++*g_told_to_end;
      ::_exit(0);
    });
    if (before_opening_) {
      before_opening_(board);
    }
    ++notes_->open_ports;
    Event ready;
    ready.kind = EventKind::kReady;
    ready.SetText(std::to_string(board));
    events.SendWithDescriptor(ready, STDIN_FILENO);
    if (!events.WaitForGo()) {
      return;
    }
    int none = 0;
    notes_->open_ports_at_first_go.compare_exchange_strong(none, notes_->open_ports);
    const int served = ++notes_->served_now;
    if (served > notes_->served_at_most) {
      notes_->served_at_most = served;
    }
    works_.at(board)(attempt, events);
    --notes_->served_now;
  }

  void GiveBack(const Event& ready, int descriptor, bool in_transfer) override {
    if (hangs_when_given_back_) {
      Hang();
    }
    if (::fcntl(descriptor, F_GETFD) != -1) {
      notes_->given_back.at(std::stoul(std::string(ready.Text()))) = in_transfer ? 2 : 1;
    }
  }

  std::vector<Assignment> assignments_;
  std::vector<BoardStatus> boards_;
  std::vector<Work> works_;
  std::function<void(std::size_t board)> before_opening_;
  bool hangs_when_given_back_ = false;
  Limits limits_;
  RecordingDisplay display_;
  SharedNotes notes_;
  Clock::time_point start_;
  Clock::duration taken_{};
  double processor_seconds_ = 0;
};

const std::string kAtBlock17 =
    " at block 17 of 256: the board has no valid application, flash it again";

TEST_F(SupervisorTest, EachBoardIsServedOnce) {
  for (int i = 0; i < 4; ++i) {
    AddGoodBoard();
  }
  EXPECT_EQ(Run(), 0);
  for (std::size_t i = 0; i < 4; ++i) {
    ExpectGood(i);
    EXPECT_EQ(boards_.at(i).attempt, 1);
    EXPECT_EQ(boards_.at(i).end->bytes_per_second, 0.0);
    EXPECT_EQ(notes_->given_back.at(i), 0);
  }
  const std::map<std::string, int> once = {{"0", 1}, {"1", 1}, {"2", 1}, {"3", 1}};
  EXPECT_EQ(display_.attempts, once);
  EXPECT_EQ(display_.ends, once);
}

TEST_F(SupervisorTest, NoBoardBeginsBeforeAllPortsAreOpen) {
  limits_.jobs = 1;
  before_opening_ = [](std::size_t board) {
    if (board == 2) {
      std::this_thread::sleep_for(300ms);
    }
  };
  for (int i = 0; i < 3; ++i) {
    AddGoodBoard();
  }
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(notes_->open_ports_at_first_go, 3);
  EXPECT_GE(boards_.front().began, start_ + 300ms);
}

TEST_F(SupervisorTest, NoMoreBoardsAtOnceThanAllowed) {
  limits_.jobs = 2;
  for (int i = 0; i < 6; ++i) {
    AddBoard([](int, EventSender& events) {
      std::this_thread::sleep_for(50ms);
      events.Send(Finished(Outcome::kFlashed));
    });
  }
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(notes_->served_at_most, 2);
  EXPECT_EQ(display_.ends.size(), 6U);
}

TEST_F(SupervisorTest, ACrashIsToldAndItsPortGivenBack) {
  AddBoard([](int, EventSender& events) {
    BeginTransfer(events);
    ::raise(SIGKILL);
  });
  AddGoodBoard();
  AddBoard([](int, EventSender&) { throw std::bad_alloc(); });
  AddBoard([](int, EventSender&) {});
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, Reason::kCrashed,
               "the process that served it was ended by signal 9 (Killed)" + kAtBlock17);
  EXPECT_EQ(notes_->given_back.at(0), 2);
  ExpectGood(1);
  ExpectFailed(2, Reason::kCrashed,
               "the process that served it ended with status 1 before anything was sent");
  EXPECT_EQ(notes_->given_back.at(2), 1);
  ExpectFailed(3, Reason::kCrashed,
               "the process that served it was ended by another before anything was sent");
  EXPECT_EQ(notes_->given_back.at(3), 0);
}

TEST_F(SupervisorTest, ABoardThatExceedsItsDeadlineIsToldToEnd) {
  AddBoard([](int, EventSender& events) {
    BeginTransfer(events);
    Hang();
  });
  AddGoodBoard();
  assignments_.front().deadline = 300ms;
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, Reason::kDeadline, "not done after 0.3 s" + kAtBlock17);
  EXPECT_TRUE(boards_.front().end->in_transfer);
  EXPECT_EQ(notes_->told_to_end.at(0), 1);
  EXPECT_EQ(notes_->given_back.at(0), 0);
  ExpectGood(1);
}

TEST_F(SupervisorTest, AWorkerThatDoesNotEndIsKilledAndItsPortGivenBack) {
  before_opening_ = [](std::size_t) { std::signal(SIGTERM, SIG_IGN); };
  AddBoard([](int, EventSender&) { Hang(); });
  assignments_.front().deadline = 1001ms;
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, Reason::kDeadline, "not done after 1.001 s before anything was sent");
  EXPECT_EQ(notes_->given_back.at(0), 1);
}

TEST_F(SupervisorTest, AStoppedWorkerHoldsNobodyUp) {
  AddBoard([](int, EventSender&) { ::raise(SIGSTOP); });
  AddGoodBoard();
  assignments_.front().deadline = 1ms;
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(boards_.front().end->reason, Reason::kDeadline);
  ExpectGood(1);
  EXPECT_LT(taken_, 5s);
}

TEST_F(SupervisorTest, WhatAWorkerHasFinishedCountsAlsoIfItHangsAfterwards) {
  AddBoard([](int, EventSender& events) {
    BeginTransfer(events);
    events.Send(Finished(Outcome::kFlashed));
    Hang();
  });
  EXPECT_EQ(Run(), 0);
  ExpectGood(0);
  EXPECT_EQ(notes_->given_back.at(0), 1);
  EXPECT_GE(taken_, 2s);
  EXPECT_LT(taken_, 15s);
}

TEST_F(SupervisorTest, ALostPortIsToldWithWhatThatMeans) {
  AddBoard([](int, EventSender& events) {
    Event event;
    event.kind = EventKind::kStep;
    event.step = Step::kStarting;
    events.Send(event);
    events.Send(Finished(Outcome::kFailed, Reason::kLost, "the port is gone"));
  });
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, Reason::kLost,
               "the port is gone while the application was started: the board is flashed");
}

TEST_F(SupervisorTest, WhatAWorkerTellsIsKnownOfItsBoardWithTimesAndARate) {
  AddBoard([](int, EventSender& events) {
    BeginTransfer(events);
    std::this_thread::sleep_for(100ms);
    Event event = Finished(Outcome::kFlashed);
    event.step = Step::kTransfer;
    event.block = event.blocks = 257;
    event.bytes_sent = 1000;
    event.transfer_seconds = 0.5;
    events.Send(event);
  });
  BoardStatus& board = boards_.front();
  board.bytes = 1000;
  std::vector<Change> changes;
  display_.on_change = [&changes](const BoardStatus& changed, Change change) {
    changes.push_back(change);
    EXPECT_TRUE(change != Change::kStep || changed.blocks == 256);
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(changes, (std::vector<Change>{Change::kAttempt, Change::kStep, Change::kProgress,
                                          Change::kEnd}));
  EXPECT_TRUE(board.end->in_transfer);
  EXPECT_EQ(board.block, 257U);
  EXPECT_EQ(board.blocks, 257U);
  EXPECT_EQ(board.bytes_sent, 1000U);
  EXPECT_EQ(board.end->bytes_per_second, 2000.0);
  EXPECT_GE(board.end->seconds, 0.1);
  EXPECT_LE(board.end->seconds, std::chrono::duration<double>(taken_).count());
  EXPECT_GE(board.began, start_);
  EXPECT_GE(board.transfer_began, board.began);
}

TEST_F(SupervisorTest, NoDeadlineMeansNone) {
  AddBoard([](int, EventSender& events) {
    std::this_thread::sleep_for(500ms);
    events.Send(Finished(Outcome::kFlashed));
  });
  assignments_.front().deadline = 0ms;
  EXPECT_EQ(Run(), 0);
  ExpectGood(0);
  EXPECT_GE(display_.refreshes, 3);  // ten in a second
  EXPECT_LE(display_.refreshes, taken_ / 100ms + 1);
  EXPECT_LT(processor_seconds_, 0.25);
}

struct Repetition {
  Reason reason;
  int attempts;
};

void PrintTo(const Repetition& row, std::ostream* out) { *out << NameOf(row.reason); }

class RepetitionTest : public SupervisorTest, public ::testing::WithParamInterface<Repetition> {};

TEST_P(RepetitionTest, OnlyWhatMayGoWellIsTriedAgain) {
  limits_.attempts = 3;
  AddBoard([](int, EventSender& events) {
    events.Send(Finished(Outcome::kFailed, GetParam().reason, "so it was"));
  });
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, GetParam().reason, "so it was");
  EXPECT_EQ(boards_.front().attempt, GetParam().attempts);
  EXPECT_EQ(display_.attempts.at("0"), GetParam().attempts);
  EXPECT_EQ(display_.ends.at("0"), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, RepetitionTest,
    ::testing::Values(Repetition{Reason::kBroken, 3}, Repetition{Reason::kLost, 3},
                      Repetition{Reason::kDeadline, 3}, Repetition{Reason::kRejected, 3},
                      Repetition{Reason::kRefused, 1}, Repetition{Reason::kSilent, 1},
                      Repetition{Reason::kNotStarted, 1}, Repetition{Reason::kCrashed, 1}),
    [](const auto& row) {
      std::string name(NameOf(row.param.reason));
      std::erase(name, '-');
      return name;
    });

TEST_F(SupervisorTest, AnAttemptThatGoesWellIsTheLast) {
  limits_.attempts = 5;
  AddBoard([](int attempt, EventSender& events) {
    events.Send(attempt < 3 ? Finished(Outcome::kFailed, Reason::kBroken)
                            : Finished(Outcome::kFlashed));
  });
  EXPECT_EQ(Run(), 0);
  ExpectGood(0);
  EXPECT_EQ(boards_.front().attempt, 3);
}

TEST_F(SupervisorTest, AnAttemptBeginsWithNothingOfTheLast) {
  limits_.attempts = 3;
  AddBoard([](int attempt, EventSender& events) {
    if (attempt == 1) {
      BeginTransfer(events);
      Event event = Finished(Outcome::kFailed, Reason::kBroken);
      event.block = 17;
      event.bytes_sent = 16384;
      events.Send(event);
    } else if (attempt == 2) {
      Hang();
    }
  });
  assignments_.front().deadline = 300ms;
  display_.on_change = [](const BoardStatus& board, Change change) {
    if (change == Change::kAttempt) {
      EXPECT_EQ(board.step, board.attempt == 1 ? Step::kWaiting : Step::kOpening);
      EXPECT_EQ(board.block, 0U);
      EXPECT_EQ(board.bytes_sent, 0U);
    }
  };
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, Reason::kCrashed,
               "the process that served it was ended by another before anything was sent");
  EXPECT_EQ(boards_.front().attempt, 3);
}

TEST_F(SupervisorTest, APortThatCannotBeOpenedIsNotTriedAgain) {
  limits_.attempts = 3;
  before_opening_ = [](std::size_t) { ::_exit(0); };
  AddGoodBoard();
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(boards_.front().end->reason, Reason::kCrashed);
  EXPECT_EQ(boards_.front().attempt, 0);
  EXPECT_LE(boards_.front().end->seconds, std::chrono::duration<double>(taken_).count());
  EXPECT_TRUE(display_.attempts.empty());
}

TEST_F(SupervisorTest, AnInterruptEndsWhatIsInWorkAndBeginsNothing) {
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

TEST_F(SupervisorTest, ASecondInterruptEndsWorkersThatDoNotEndByThemselves) {
  before_opening_ = [](std::size_t) { std::signal(SIGTERM, SIG_IGN); };
  AddBoard([](int, EventSender& events) {
    BeginTransfer(events);
    Hang();
  });
  display_.on_change = [](const BoardStatus& board, Change change) {
    if (change == Change::kProgress && board.block == 17) {
      ::raise(SIGINT);
      ::raise(SIGHUP);
    }
  };
  EXPECT_EQ(Run(), SIGINT);
  ExpectFailed(0, Reason::kInterrupted, "interrupted" + kAtBlock17);
  EXPECT_EQ(notes_->given_back.at(0), 2);
}

TEST_F(SupervisorTest, APortIsGivenBackEvenIfNoProcessCanBeStarted) {
  AddBoard([](int, EventSender& events) {
    BeginTransfer(events);
    ::raise(SIGKILL);
  });
  std::optional<NoMoreDescriptors> none;
  display_.on_change = [&none](const BoardStatus&, Change change) {
    if (change == Change::kProgress) {
      none.emplace();
    }
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(notes_->given_back.at(0), 2);
}

TEST_F(SupervisorTest, AFailureOfItsOwnEndsAllBoardsAsAnInterruptDoes) {
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

TEST_F(SupervisorTest, ASecondInterruptEndsAlsoAWorkerThatHasFinishedAndHangs) {
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

TEST_F(SupervisorTest, AnIgnoredSignalStaysIgnored) {
  std::signal(SIGHUP, SIG_IGN);
  AddBoard([](int, EventSender& events) {
    ::kill(::getppid(), SIGHUP);
    events.Send(Finished(Outcome::kFlashed));
  });
  EXPECT_EQ(Run(), 0);
  std::signal(SIGHUP, SIG_DFL);
  ExpectGood(0);
}

TEST_F(SupervisorTest, EndsOfWorkersAreSeenAlsoIfTheirSignalWasIgnored) {
  std::signal(SIGCHLD, SIG_IGN);
  AddGoodBoard();
  EXPECT_EQ(Run(), 0);
  std::signal(SIGCHLD, SIG_DFL);
  ExpectGood(0);
  EXPECT_EQ(notes_->given_back.at(0), 0);
}

TEST_F(SupervisorTest, AWorkerHasSignalsAndStreamsOfItsOwn) {
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

TEST_F(SupervisorTest, NoWorkerWritesWhatIsBuffered) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
  std::fputs("once", file.get());
  AddGoodBoard();
  EXPECT_EQ(Run(), 0);
  std::fseek(file.get(), 0, SEEK_END);
  EXPECT_EQ(std::ftell(file.get()), 4);
}

TEST_F(SupervisorTest, AWorkerHoldsNothingOfOthers) {
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

TEST_F(SupervisorTest, ABoardForWhichThereIsNoProcessFailsAlone) {
  AddGoodBoard();
  AddGoodBoard();
  const FailingCall fork("fork", EAGAIN);
  EXPECT_EQ(Run(), 0);
  ExpectFailed(0, Reason::kCrashed, kNoProcess + " before anything was sent");
  ExpectGood(1);
}

TEST_F(SupervisorTest, AnAttemptThatDoesNotComeAboutTellsWhyTheFormerFailed) {
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

TEST_F(SupervisorTest, AGivingBackThatHangsHoldsNobodyUp) {
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

TEST_F(SupervisorTest, AWorkerThatEndsBeforeItsPortIsOpenLeavesNothingToGiveBack) {
  before_opening_ = [](std::size_t) { ::raise(SIGKILL); };
  AddGoodBoard();
  EXPECT_EQ(Run(), 0);
  ExpectFailed(
      0, Reason::kCrashed,
      "the process that served it was ended by signal 9 (Killed) before anything was sent");
  EXPECT_EQ(notes_->given_back.at(0), 0);
}

// A worker whose end nobody sees, as that of one that hangs in the system: another process traces
// it and takes no notice.
class HangingWorkerTest : public SupervisorTest {
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
  ExpectFailed(0, Reason::kDeadline, "not done after 0.5 s" + kAtBlock17);
  EXPECT_EQ(notes_->given_back.at(0), 2);
  ExpectGood(1);
}

TEST_F(HangingWorkerTest, DoesNotKeepASecondInterruptWaiting) {
  hangs_when_given_back_ = true;
  display_.on_change = [](const BoardStatus& board, Change change) {
    if (change == Change::kProgress && board.block == 17) {
      ::raise(SIGINT);
      ::raise(SIGHUP);
    }
  };
  EXPECT_EQ(Run(), SIGINT);
  ExpectFailed(0, Reason::kInterrupted, "interrupted" + kAtBlock17);
  EXPECT_EQ(notes_->given_back.at(0), 0);
}

// One board by itself, at a time of the test's own.
class BoardRunTest : public SupervisorTest {
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
