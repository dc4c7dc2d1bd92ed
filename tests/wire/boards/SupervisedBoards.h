#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <ctime>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "boards/Supervisor.h"

// The supervisor with real processes, whose work is made up: each notes in memory that all share
// what it does.
namespace kvo::boards::testing {

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

inline Event Finished(Outcome outcome, Reason reason = {}, const std::string& message = "") {
  Event event;
  event.kind = EventKind::kFinished;
  event.outcome = outcome;
  event.reason = reason;
  event.SetText(message);
  return event;
}

inline void BeginTransfer(const EventSender& events) {
  Event event;
  event.kind = EventKind::kStep;
  event.step = Step::kTransfer;
  event.blocks = 256;
  events.Send(event);
  event.kind = EventKind::kProgress;
  event.block = 17;
  events.Send(event);
}

[[noreturn]] inline void Hang() {
  for (;;) {
    ::pause();
  }
}

// Where a worker that is told to end notes it.
inline std::atomic<int>* g_told_to_end = nullptr;

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

class SupervisedBoards : public ::testing::Test, public Workers {
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

inline const std::string kAtBlock17 =
    " at block 17 of 256: the board has no valid application, flash it again";

}  // namespace kvo::boards::testing
