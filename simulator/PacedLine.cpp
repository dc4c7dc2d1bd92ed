#include "simulator/PacedLine.h"

#include <algorithm>
#include <utility>

namespace kvo::boardsimulator {
namespace {

constexpr std::uint64_t kBitsPerByte = 10;
constexpr std::uint64_t kGroupsPerSecond = 1000;
constexpr std::uint64_t kLargestGroup = 4096;
constexpr std::size_t kAdapterPacketSize = 64;

std::size_t GroupSize(std::uint64_t bits_per_second) {
  const std::uint64_t size = bits_per_second / kBitsPerByte / kGroupsPerSecond;
  return std::clamp<std::uint64_t>(size, 1, kLargestGroup);
}

}  // namespace

PacedLine::PacedLine(Line& line, std::uint32_t bits_per_second)
    : line_(line),
      bits_per_second_(bits_per_second),
      group_(GroupSize(bits_per_second)),
      arrival_(line.Now()),
      last_seen_empty_(line.Now()),
      sent_until_(line.Now()) {}

std::chrono::nanoseconds PacedLine::LineTime(std::size_t bytes) const {
  constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;
  return std::chrono::nanoseconds(bytes * kBitsPerByte * kNanosecondsPerSecond / bits_per_second_);
}

std::size_t PacedLine::Read(std::span<std::uint8_t> into, TimePoint until) {
  if (travelling_.empty() && !PutGroupOnLine(until)) {
    return 0;
  }
  const TimePoint due = std::max(arrival_, line_.Now());
  line_.WaitUntil(std::min(due, until));
  if (arrival_ > line_.Now()) {
    return 0;
  }
  lateness_ = line_.Now() - due;
  const std::size_t count = std::min(into.size(), travelling_.size());
  std::copy_n(travelling_.begin(), count, into.begin());
  travelling_ = travelling_.subspan(count);
  return count;
}

// Bytes found without waiting have been on the line since the group before them ended or since
// the input was last seen empty; counting from there makes up for the time that waits take too
// long. Bytes that had to be waited for start now.
bool PacedLine::PutGroupOnLine(TimePoint until) {
  std::size_t count = line_.Read(group_, line_.Now());
  if (count == 0) {
    count = line_.Read(group_, until);
    last_seen_empty_ = line_.Now();
  }
  if (count == 0) {
    return false;
  }
  travelling_ = std::span(group_).first(count);
  arrival_ = std::max(arrival_, last_seen_empty_) + LineTime(count);
  return true;
}

// A board answers the moment it has the last byte; this one had to be woken for it.
void PacedLine::Write(std::span<const std::uint8_t> bytes) {
  sent_until_ = std::max(sent_until_, line_.Now() - std::exchange(lateness_, {}));
  while (!bytes.empty()) {
    const auto packet = bytes.first(std::min(bytes.size(), kAdapterPacketSize));
    bytes = bytes.subspan(packet.size());
    sent_until_ += LineTime(packet.size());
    line_.WaitUntil(sent_until_);
    line_.Write(packet);
  }
}

}  // namespace kvo::boardsimulator
