#pragma once

#include "simulator/Line.h"
#include "simulator/Trace.h"

namespace kvo::boardsimulator {

// Records what passes over a line. Both `line` and `trace` are borrowed.
class TracedLine : public Line {
 public:
  TracedLine(Line& line, Trace& trace) : line_(line), trace_(trace) {}

  std::size_t Read(std::span<std::uint8_t> into, TimePoint until) override;
  void Write(std::span<const std::uint8_t> bytes) override;
  void WaitUntil(TimePoint until) override;
  std::uint64_t Departures() const override { return line_.Departures(); }
  TimePoint Now() const override { return line_.Now(); }

 private:
  Line& line_;
  Trace& trace_;
};

}  // namespace kvo::boardsimulator
