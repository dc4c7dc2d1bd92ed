#pragma once

#include <list>
#include <string>
#include <vector>

#include "boards/BoardLoop.h"
#include "boards/Plan.h"
#include "boards/ports/PortWatch.h"

namespace kvo::boards {

// Serves the board at each port that matches the plan's patterns, once per coming: at the start,
// unless only new ones are asked for, and whenever one is plugged in. A device that has several
// names is served under the first of them.
//
// It ends when as many boards have ended as the plan asks for, or by a signal: the first begins no
// more boards and lets those in work end, the second interrupts them, the third kills the workers.
class Watch : public BoardLoop {
 public:
  // Borrows all of them. Throws `std::system_error` when signals or changes of folders can't be
  // had.
  Watch(const Plan& plan, const Limits& limits, Workers& workers, Display& display);

  // Of all boards that have ended; the time is left to the caller.
  const Totals& GetTotals() const { return totals_; }

 private:
  enum class Stage {
    kLeftAlone,
    kOtherName,  // of a device that is served under its first
    kWaiting,
    kServed,
    kEnded,
  };
  // A port from its coming to its going, and what becomes of its board.
  struct Visit {
    PortWatch::Port port;
    Clock::time_point came;
    Stage stage = Stage::kWaiting;
    bool is_there = true;
    bool is_shown = false;
    Assignment assignment;
    BoardStatus status;
    BoardRun* run = nullptr;                       // while it is served
    std::optional<Clock::time_point> shown_until;  // when the port went before the board had ended
  };
  using Visits = std::list<Visit>;

  bool IsOver() const override;
  void GoOn(Clock::time_point now) override;
  void Interrupt(int times) override;
  int Awaited() const override { return ports_.Descriptor(); }

  void TakeEnds(Clock::time_point now);
  void TakeEnd(Visit& visit, Clock::time_point now);
  void Count(const BoardStatus::End& end);
  void Adopt(Visit& visit, const BoardRun::Opening& opening);
  void TakeGoing(const std::string& path, Clock::time_point now);
  void TakeComing(const PortWatch::Port& port, Clock::time_point now);
  void TakeWaiting();
  void Begin(Visit& visit);
  void ShowComing(Visit& visit);
  void ServeUnderAnotherName(dev_t device);
  void Drop(Visit& visit);
  void Forget(Clock::time_point now);

  Stage StageOf(const PortWatch::Port& port) const;
  bool IsServed(const std::string& path) const;
  bool IsInWork(dev_t device) const;
  bool MayBegin() const;

  const Plan& plan_;
  Display& display_;
  PortWatch ports_;
  Visits visits_;  // in the order of their coming
  Totals totals_;
  bool has_looked_ = false;
  bool is_interrupted_ = false;
};

}  // namespace kvo::boards
