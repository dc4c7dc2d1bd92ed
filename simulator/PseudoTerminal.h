#pragma once

#include <string>

#include "simulator/Line.h"
#include "simulator/UniqueDescriptor.h"

namespace kvo::boardsimulator {

// The master end of a new pseudo-terminal, the board's end of the line. Hosts open the slave end,
// one after the other, as they would a serial device; while nobody has it open, reading waits for
// the next one and what is written is lost. The slave end is never opened here and its settings
// are left to the host: a host may check that no other process holds its port.
class PseudoTerminal : public Line {
 public:
  // Throws std::system_error if no pseudo-terminal is to be had. `stop_descriptor` is borrowed,
  // -1 for none.
  explicit PseudoTerminal(int stop_descriptor);

  // The path of the device to open, such as /dev/pts/3.
  const std::string& SlavePath() const { return slave_path_; }

  std::size_t Read(std::span<std::uint8_t> into, TimePoint until) override;
  void Write(std::span<const std::uint8_t> bytes) override;
  void WaitUntil(TimePoint until) override;
  std::uint64_t Departures() const override { return departures_; }
  TimePoint Now() const override { return Clock::now(); }

 private:
  std::size_t ReadWhatIsThere(std::span<std::uint8_t> into);
  bool IsHostGone() const;
  void NoteThatHostIsGone();
  void ForgetWhatHostLeft();

  UniqueDescriptor master_;
  std::string slave_path_;
  int stop_descriptor_;
  bool host_seen_ = false;
  std::uint64_t departures_ = 0;
};

}  // namespace kvo::boardsimulator
