#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "boards/BoardStatus.h"
#include "boards/WorkerProcess.h"
#include "boards/display/Display.h"

namespace kvo::boards {

// What is done in processes of their own, one per board and attempt.
class Workers {
 public:
  Workers() = default;
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;
  virtual ~Workers() = default;

  // Serves the board at a port: sends `kReady` with the descriptor of its port, waits for the go,
  // does what is to be done and sends `kFinished`. SIGTERM is to end it with exit status 0, the
  // port given back.
  virtual void Serve(const Assignment& assignment, int attempt, EventSender& events) = 0;

  // Gives back the port of a worker that didn't. `ready` is what that sent; the descriptor is valid
  // in this process.
  virtual void GiveBack(const Event& ready, int descriptor, bool in_transfer) = 0;
};

struct Limits {
  std::size_t jobs = 0;  // boards at once; 0: all
  int attempts = 1;
};

// One board's way from its first worker to its result. The supervisor tells it when to go on, and
// lets it look at what has happened; no call waits.
class BoardRun {
 public:
  // Borrows all of them.
  BoardRun(const Assignment& assignment, BoardStatus& status, const Limits& limits,
           Workers& workers, Display& display);

  // Begins to open the port.
  void Open();
  // Begins the first attempt on a port that is open.
  void Go();

  bool HasOpened() const { return state_ != State::kOpening || status_.attempt > 0; }
  bool IsReady() const { return state_ == State::kReady; }
  bool IsServed() const { return status_.attempt > 0 && state_ != State::kDone; }
  bool IsDone() const { return state_ == State::kDone; }

  // Ends a board that hasn't been begun, without a result: nothing is told of it.
  void Withdraw();
  // The worker is told to end.
  void Interrupt();
  // The worker is killed, and its port given back as far as a moment allows.
  void Kill();
  // Ends the board without waiting for anything.
  void Abandon();

  // For a supervisor that has failed itself, and may have no memory. The first tells the worker to
  // end, and the last ends the board, in the hope that it can be told.
  void BeginToLeave() noexcept;
  bool HasWorker() noexcept;
  void Leave() noexcept;

  // Takes events, the worker's end and the time that has come.
  void LookAround(Clock::time_point now);

  // When to look around at the latest.
  std::optional<Clock::time_point> NextTime() const { return next_time_; }
  // Readable when there are events; -1 if there can't be any.
  int Descriptor() const;

  // The last time that a worker had opened the port, and which device it was.
  struct Opening {
    Clock::time_point at;
    dev_t device = 0;
  };
  const std::optional<Opening>& LastOpening() const { return last_opening_; }

 private:
  enum class State {
    kOpening,  // a worker opens the port
    kReady,    // it has, and waits
    kServing,  // it does its work
    kEnding,   // it has finished or was told to end
    kKilled,
    kGivingBack,  // it died; another process gives its port back
    kDone,
  };
  struct Cause {
    Reason reason;
    std::string text;
  };

  void StartWorker();
  void BeginAttempt();
  void TakeEvents();
  void Take(EventReceiver::Message message);
  void TakePosition(const Event& event);
  void TakeFinish(const Event& event);
  void NoteOpening();
  void TakeEnd(int wait_status);
  void TakeTime();
  void TellToEnd(Reason reason, const std::string& text);
  void GiveBackPort();
  bool IsUnderWay() const;
  bool IsInTransfer() const;
  void Conclude();
  std::string WithFormerFailure(const std::string& text) const;
  BoardStatus::End Told() const;
  BoardStatus::End Untold() const;
  bool IsTriedAgainAfter(const BoardStatus::End& end) const;
  void Enter(State state, std::chrono::milliseconds limit);

  const Assignment& assignment_;
  BoardStatus& status_;
  const Limits& limits_;
  Workers& workers_;
  Display& display_;

  State state_ = State::kOpening;
  std::optional<Clock::time_point> next_time_;
  std::unique_ptr<WorkerProcess> worker_;
  // What the worker has borrowed, and tells how to give back.
  Event ready_;
  UniqueDescriptor port_;
  std::optional<Event> finished_;
  std::optional<Cause> cause_;  // of an end that the worker has not told
  bool has_begun_ = false;      // the attempt for which the worker runs
  std::string former_failure_;  // the last attempt's message
  bool interrupted_ = false;
  bool withdrawn_ = false;
  Clock::time_point now_;
  std::optional<Opening> last_opening_;
};

}  // namespace kvo::boards
