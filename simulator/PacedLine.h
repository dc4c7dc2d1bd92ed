#pragma once

#include <vector>

#include "simulator/Line.h"

namespace kvo::boardsimulator {

// Slows a line down to the pace of a real one: 8N1, ten bits per byte, each direction on its own.
// Towards the board bytes come in groups of about a millisecond of line time, each group when its
// last byte has passed. Towards the host up to 64 bytes of one answer come together, which is how
// a USB adapter hands them over.
class PacedLine : public Line {
 public:
  // `line` is borrowed; `bits_per_second` must not be 0.
  PacedLine(Line& line, std::uint32_t bits_per_second);

  std::size_t Read(std::span<std::uint8_t> into, TimePoint until) override;
  void Write(std::span<const std::uint8_t> bytes) override;
  void WaitUntil(TimePoint until) override { line_.WaitUntil(until); }
  std::uint64_t Departures() const override { return line_.Departures(); }
  TimePoint Now() const override { return line_.Now(); }

 private:
  std::chrono::nanoseconds LineTime(std::size_t bytes) const;
  bool PutGroupOnLine(TimePoint until);

  Line& line_;
  std::uint64_t bits_per_second_;
  std::vector<std::uint8_t> group_;     // where a group from the host is read to
  std::span<std::uint8_t> travelling_;  // the part of it that has not been handed over
  TimePoint arrival_;                   // when the last byte of travelling_ has passed
  TimePoint last_seen_empty_;
  std::chrono::nanoseconds lateness_{0};  // of the last group, owed to the answer to it
  TimePoint sent_until_;
};

}  // namespace kvo::boardsimulator
