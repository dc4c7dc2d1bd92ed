#pragma once

#include <filesystem>
#include <optional>

#include "simulator/DescriptorLine.h"
#include "simulator/Line.h"
#include "simulator/UniqueDescriptor.h"

namespace kvo::boardsimulator {

// A line over a Unix socket that hosts connect to, one after the other; an emulated machine does so
// for its serial port. While nobody is connected, reading waits for the next one and what is
// written is lost. The process must ignore SIGPIPE (IgnoreBrokenPipes).
class SocketLine : public Line {
 public:
  // Listens at `path`, and replaces a socket that an earlier run left there. Throws
  // std::runtime_error, and leaves it alone, if anything else stands there or the system refuses.
  // `stop_descriptor` is borrowed, -1 for none.
  SocketLine(std::filesystem::path path, int stop_descriptor);
  // Removes the socket.
  ~SocketLine() override;

  std::size_t Read(std::span<std::uint8_t> into, TimePoint until) override;
  void Write(std::span<const std::uint8_t> bytes) override;
  void WaitUntil(TimePoint until) override;
  std::uint64_t Departures() const override { return departures_; }
  TimePoint Now() const override { return Clock::now(); }

 private:
  bool HasHost(TimePoint until);
  void LoseHost(const ServingEnded& end);

  std::filesystem::path path_;
  int stop_descriptor_;
  UniqueDescriptor listener_;
  std::optional<DescriptorLine> host_;
  std::uint64_t departures_ = 0;
};

}  // namespace kvo::boardsimulator
