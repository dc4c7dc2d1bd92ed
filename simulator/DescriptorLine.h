#pragma once

#include "simulator/Line.h"
#include "simulator/UniqueDescriptor.h"

namespace kvo::boardsimulator {

// A line over a socket or a pair of pipes. Throws ServingEnded (kPeerClosed) once the other end
// is closed. The process must ignore SIGPIPE (IgnoreBrokenPipes).
class DescriptorLine : public Line {
 public:
  // Owns the socket and makes it non-blocking; `stop_descriptor` is borrowed, -1 for none.
  DescriptorLine(UniqueDescriptor socket, int stop_descriptor);
  // The same with one descriptor for each direction.
  DescriptorLine(UniqueDescriptor input, UniqueDescriptor output, int stop_descriptor);

  std::size_t Read(std::span<std::uint8_t> into, TimePoint until) override;
  void Write(std::span<const std::uint8_t> bytes) override;
  void WaitUntil(TimePoint until) override;
  std::uint64_t Departures() const override { return 0; }
  TimePoint Now() const override { return Clock::now(); }

 private:
  UniqueDescriptor input_;
  UniqueDescriptor output_;  // none: input_ serves both directions
  int stop_descriptor_;
};

}  // namespace kvo::boardsimulator
