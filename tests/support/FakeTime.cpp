#include "support/FakeTime.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <utility>

namespace kvo::bootloadertms::testing {

namespace {

FakeTime* current = nullptr;

}  // namespace

FakeTime::FakeTime(SleepObserver on_sleep) : on_sleep_(std::move(on_sleep)) {
  if (current != nullptr) {
    throw std::logic_error("a second FakeTime");
  }
  current = this;
}

FakeTime::~FakeTime() { current = nullptr; }

void FakeTime::AdvanceWallClock(std::chrono::nanoseconds time) { wall_clock_ += time; }

std::chrono::nanoseconds FakeTime::Now(clockid_t clock) const {
  return clock == CLOCK_REALTIME ? wall_clock_ : other_clocks_;
}

std::chrono::nanoseconds FakeTime::Sleep(std::chrono::nanoseconds asked) {
  const std::chrono::nanoseconds slept = on_sleep_(asked);
  wall_clock_ += slept;
  other_clocks_ += slept;
  return slept;
}

FakeTime* FakeTime::Current() { return current; }

}  // namespace kvo::bootloadertms::testing

namespace {

using kvo::bootloadertms::testing::FakeTime;

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

timespec ToTimespec(std::chrono::nanoseconds time) {
  return {.tv_sec = time.count() / kNanosecondsPerSecond,
          .tv_nsec = time.count() % kNanosecondsPerSecond};
}

}  // namespace

// The C library's own names, so that these stand in for them throughout the program.
extern "C" {

int nanosleep(const struct timespec* request, struct timespec* remaining) {
  FakeTime* fake = FakeTime::Current();
  if (fake == nullptr) {
    return static_cast<int>(::syscall(SYS_nanosleep, request, remaining));
  }
  const auto asked =
      std::chrono::seconds(request->tv_sec) + std::chrono::nanoseconds(request->tv_nsec);
  const std::chrono::nanoseconds slept = fake->Sleep(asked);
  if (slept == asked) {
    return 0;
  }
  if (remaining != nullptr) {
    *remaining = ToTimespec(asked - slept);
  }
  errno = EINTR;
  return -1;
}

int usleep(useconds_t microseconds) {
  constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;
  constexpr std::int64_t kNanosecondsPerMicrosecond = 1'000;
  timespec request{};
  request.tv_sec = microseconds / kMicrosecondsPerSecond;
  request.tv_nsec = microseconds % kMicrosecondsPerSecond * kNanosecondsPerMicrosecond;
  return nanosleep(&request, nullptr);
}

int clock_gettime(clockid_t clock, struct timespec* time) noexcept {
  if (const FakeTime* fake = FakeTime::Current()) {
    *time = ToTimespec(fake->Now(clock));
    return 0;
  }
  return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
}

}  // extern "C"
