#pragma once

#include <chrono>
#include <ctime>
#include <functional>

namespace kvo::bootloadertms::testing {

// While an object lives, no sleep of the code under test takes time: `usleep` and `nanosleep` tell
// `on_sleep` how long they were asked to sleep and move the clocks of `clock_gettime` on by what it
// answers. An answer that is shorter is a sleep that a signal interrupts: EINTR, and `nanosleep`
// tells the rest. Without an object these functions do what the system's own do.
//
// A program that uses this links FakeTime.cpp, which defines the three functions. At most one
// object lives at a time.
class FakeTime {
 public:
  using SleepObserver = std::function<std::chrono::nanoseconds(std::chrono::nanoseconds asked)>;

  explicit FakeTime(SleepObserver on_sleep);
  FakeTime(const FakeTime&) = delete;
  FakeTime& operator=(const FakeTime&) = delete;
  ~FakeTime();

  // Moves the wall clock on, and no other: as if somebody set it.
  void AdvanceWallClock(std::chrono::nanoseconds time);

  std::chrono::nanoseconds Now(clockid_t clock) const;

  // Returns how long the sleep was.
  std::chrono::nanoseconds Sleep(std::chrono::nanoseconds asked);

  // The living object, null when there is none.
  static FakeTime* Current();

 private:
  SleepObserver on_sleep_;
  std::chrono::nanoseconds wall_clock_ = std::chrono::seconds(1'000'000'000);
  std::chrono::nanoseconds other_clocks_ = std::chrono::seconds(1'000);
};

}  // namespace kvo::bootloadertms::testing
