#pragma once

#include <array>
#include <optional>

#include "simulator/Line.h"

namespace kvo::boardsimulator {

// What the board's firmware sees of its line: single bytes in, answers out. Borrows the line and
// passes its exceptions on.
class ByteStream {
 public:
  explicit ByteStream(Line& line) : line_(line) {}

  // The next byte, or nothing if none came until `until`.
  std::optional<std::uint8_t> ReadByte(TimePoint until);

  // Lets the time pass until `until` and loses all bytes that arrive meanwhile.
  void DiscardUntil(TimePoint until);

  void Send(std::span<const std::uint8_t> bytes) { line_.Write(bytes); }

  // Lets the time pass; bytes that arrive meanwhile stay to be read.
  void Wait(std::chrono::milliseconds time) { line_.WaitUntil(Now() + time); }

  std::uint64_t Departures() const { return line_.Departures(); }  // see Line
  TimePoint Now() const { return line_.Now(); }

 private:
  Line& line_;
  std::array<std::uint8_t, 4096> buffer_{};
  std::span<const std::uint8_t> unread_;  // part of buffer_
};

}  // namespace kvo::boardsimulator
