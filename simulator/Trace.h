#pragma once

#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Line.h"

namespace kvo::boardsimulator {

enum class Direction { kHostToBoard, kBoardToHost };

// The timed record of a session, one row for up to 16 bytes of one direction or for one event:
//    0.012345 > 01 00 ff 30 ...                                 |...0|
//    0.212345 # bootloader started
// The time is in seconds since the start; bytes that come close together share a row, which
// carries the time of its first byte. Each finished row is flushed.
class Trace {
 public:
  // A trace that records nothing.
  Trace() = default;
  // Owns `output`; time counts from `start`.
  Trace(std::unique_ptr<std::ostream> output, TimePoint start);
  Trace(const Trace&) = delete;
  Trace& operator=(const Trace&) = delete;
  ~Trace() { EndRow(); }

  void Bytes(Direction direction, std::span<const std::uint8_t> bytes, TimePoint when);
  void Event(std::string_view text, TimePoint when);
  // Writes out the row that still waits for more bytes, if there is one.
  void EndRow();

 private:
  std::string Time(TimePoint when) const;

  std::unique_ptr<std::ostream> output_;
  TimePoint start_;
  std::vector<std::uint8_t> row_;
  Direction row_direction_ = Direction::kHostToBoard;
  TimePoint row_time_;
};

// A trace into a new file at `path`; throws std::runtime_error if it cannot be made.
std::unique_ptr<Trace> TraceIntoFile(const std::string& path);

}  // namespace kvo::boardsimulator
