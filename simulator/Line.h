#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>

namespace kvo::boardsimulator {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

// A deadline that never comes.
inline constexpr TimePoint kNever = TimePoint::max();

enum class EndReason {
  kStopRequested,  // the program was asked to end
  kPeerClosed,     // the other end of a socket or pipe is gone for good
  kHangUp,         // the board itself leaves, as an unplugged adapter does
};

// Leaves every wait of a board once there is nothing left to serve; no error.
class ServingEnded : public std::exception {
 public:
  explicit ServingEnded(EndReason reason) : reason_(reason) {}

  EndReason Reason() const { return reason_; }
  const char* what() const noexcept override { return "serving the line has ended"; }

 private:
  EndReason reason_;
};

// The board's end of a serial line: a byte channel and the clock its waits go by. Used by one
// thread. Each operation may throw ServingEnded, and std::system_error if the system fails.
class Line {
 public:
  Line() = default;
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  virtual ~Line() = default;

  // Waits for bytes, at most until `until`, and puts as many as are there and fit into `into`.
  // Returns their number; 0 once `until` has passed. A deadline in the past looks once.
  virtual std::size_t Read(std::span<std::uint8_t> into, TimePoint until) = 0;

  // Sends all bytes. What nobody listens to is lost without an error, as on a real line.
  virtual void Write(std::span<const std::uint8_t> bytes) = 0;

  // Lets the time pass until `until`; bytes that arrive meanwhile stay to be read.
  virtual void WaitUntil(TimePoint until) = 0;

  // How often a host has closed its end so far; noticed by reading. Always 0 where that ends the
  // serving.
  virtual std::uint64_t Departures() const = 0;

  virtual TimePoint Now() const = 0;
};

}  // namespace kvo::boardsimulator
