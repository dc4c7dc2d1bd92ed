#pragma once

#include <poll.h>

#include <chrono>
#include <list>
#include <optional>
#include <vector>

#include "boards/BoardRun.h"
#include "boards/SignalQueue.h"

namespace kvo::boards {

// Waits for what boards, signals and the clock bring, and lets each board's run go on by it. Which
// boards there are, and when they begin, is decided by those who inherit from it.
//
// SIGINT, SIGTERM and SIGHUP interrupt it; one that was ignored at the start stays so. The same
// signal at once again counts for one: some send it to a process and to its group.
class BoardLoop {
 public:
  BoardLoop(const BoardLoop&) = delete;
  BoardLoop& operator=(const BoardLoop&) = delete;
  virtual ~BoardLoop() = default;

  // Until it is over; the display has been told of all ends then. The result is the last signal
  // that interrupted it, or 0. When it fails itself, as for want of memory, all boards are ended as
  // by an interrupt, and the failure is thrown.
  int Run();

  // Whether it ended, or had to end, in haste.
  bool IsInHaste() const { return leave_at_.has_value(); }

 protected:
  // Borrows all of them.
  // Throws `std::system_error` when signals can't be had.
  BoardLoop(const Limits& limits, Workers& workers, Display& display);

  // All of its boards have ended, and there will be no more.
  virtual bool IsOver() const = 0;

  // After each piece of news, and ten times a second.
  virtual void GoOn(Clock::time_point now) = 0;

  // By a signal, for the `times`th time.
  virtual void Interrupt(int times) = 0;

  // What is to be waited for beside the boards; -1 for nothing.
  virtual int Awaited() const { return -1; }

  // Borrows both.
  BoardRun& Add(const Assignment& assignment, BoardStatus& status);
  void Remove(const BoardRun& run);

  // Begins as many of the boards whose ports are open as may be served at once.
  void BeginReady();

  void InterruptAll();

  // Ends all soon, whatever they are doing.
  void MakeHaste();

  std::list<BoardRun>& Runs() { return runs_; }
  const std::list<BoardRun>& Runs() const { return runs_; }

 private:
  void Loop();
  void LeaveAll() noexcept;
  void WaitForNews();
  void LookAround(Clock::time_point now);
  int MillisecondsToTheNextTime() const;
  void TakeSignals();
  void TakeInterrupt(int signal);

  const Limits& limits_;
  Workers& workers_;
  Display& display_;
  SignalQueue signals_;
  std::list<BoardRun> runs_;
  std::vector<pollfd> awaited_;  // the boards last, in the order of their runs
  bool is_all_worth_a_look_ = false;
  Clock::time_point next_refresh_;
  int looks_ = 0;  // since the last refresh
  int interrupts_ = 0;
  std::optional<int> interrupted_by_;
  Clock::time_point interrupted_at_;
  std::optional<Clock::time_point> leave_at_;
};

}  // namespace kvo::boards
