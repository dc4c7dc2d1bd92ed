#include "simulator/Waiting.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>

namespace kvo::boardsimulator {
namespace {

// A wait is cut into pieces of at most this length, so that kNever fits into a timespec.
constexpr std::chrono::hours kLongestPiece{1};

timespec TimeLeft(TimePoint until) {
  using std::chrono::nanoseconds;
  const TimePoint now = Clock::now();
  nanoseconds left{0};
  if (until > now + kLongestPiece) {
    left = kLongestPiece;
  } else if (until > now) {
    left = until - now;
  }
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
  return {.tv_sec = seconds.count(), .tv_nsec = (left - seconds).count()};
}

}  // namespace

short WaitForEvents(int descriptor, short events, int stop_descriptor, TimePoint until) {
  while (true) {
    std::array<pollfd, 2> polled{{{descriptor, events, 0}, {stop_descriptor, POLLIN, 0}}};
    const timespec left = TimeLeft(until);
    const int ready = ::ppoll(polled.data(), polled.size(), &left, nullptr);
    if (ready < 0 && errno != EINTR) {
      throw SystemFailure("cannot wait for the line");
    }
    if (ready > 0 && polled[1].revents != 0) {
      throw ServingEnded(EndReason::kStopRequested);
    }
    if (ready > 0) {
      return polled[0].revents;
    }
    if (Clock::now() >= until) {
      return 0;
    }
  }
}

std::system_error SystemFailure(const std::string& what) {
  return {errno, std::generic_category(), what};
}

}  // namespace kvo::boardsimulator
