#include "simulator/TracedLine.h"

#include <algorithm>

namespace kvo::boardsimulator {
namespace {

// A host that writes byte by byte should not get a row for each byte, and a reader of the trace
// should not miss the last row while the line is quiet.
constexpr std::chrono::milliseconds kRowEndsAfterQuiet{2};

}  // namespace

std::size_t TracedLine::Read(std::span<std::uint8_t> into, TimePoint until) {
  std::size_t count = line_.Read(into, std::min(until, Now() + kRowEndsAfterQuiet));
  if (count == 0) {
    trace_.EndRow();
    count = line_.Read(into, until);
  }
  trace_.Bytes(Direction::kHostToBoard, into.first(count), Now());
  return count;
}

void TracedLine::Write(std::span<const std::uint8_t> bytes) {
  line_.Write(bytes);
  trace_.Bytes(Direction::kBoardToHost, bytes, Now());
}

void TracedLine::WaitUntil(TimePoint until) {
  trace_.EndRow();
  line_.WaitUntil(until);
}

}  // namespace kvo::boardsimulator
