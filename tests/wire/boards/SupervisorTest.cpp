// The boards of a supervisor, from their begin to their result.
#include "boards/Supervisor.h"

#include "wire/boards/SupervisedBoards.h"

namespace kvo::boards::testing {
namespace {

class SupervisorTest : public SupervisedBoards {};

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
               "the process that served it was ended by another process before anything was sent");
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
  ExpectFailed(0, Reason::kDeadline, "not finished after 0.3 s" + kAtBlock17);
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
  ExpectFailed(0, Reason::kDeadline, "not finished after 1.001 s before anything was sent");
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

class RepetitionTest : public SupervisedBoards, public ::testing::WithParamInterface<Repetition> {};

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
               "the process that served it was ended by another process before anything was sent");
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

}  // namespace
}  // namespace kvo::boards::testing
