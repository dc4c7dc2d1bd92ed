#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

namespace kvo::bench {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Duration = std::chrono::duration<double>;  // in seconds

class HungUp : public std::runtime_error {
 public:
  HungUp() : std::runtime_error("the sender has closed the line") {}
};

// The far end of a pseudo-terminal, raw, that takes the time of a line: ten bits per byte. What the
// sender has written waits in the terminal as in a driver's buffer; only when it all has passed is
// an answer sent, and an answer takes its own time.
//
// It knows when a byte went on the line to within a millisecond, and exactly for the first one
// after an answer. How much later than due its own answers go out is counted, so that it can be
// taken off.
class PacedTerminal {
 public:
  // Without a rate nothing takes time.
  explicit PacedTerminal(std::optional<std::uint32_t> bits_per_second);
  PacedTerminal(const PacedTerminal&) = delete;
  PacedTerminal& operator=(const PacedTerminal&) = delete;
  ~PacedTerminal();

  // Of the device that the sender opens.
  std::string Path() const;

  // Whether a byte arrives within `limit`. Throws `HungUp` when none can arrive any more.
  bool Wait(std::chrono::milliseconds limit);

  // Fills `bytes`. Throws `HungUp`, and `std::runtime_error` after a silence of 10 s.
  void Read(std::span<std::uint8_t> bytes);

  // Sends `text` when all that was read, and the text itself, have passed the line.
  void Answer(const std::string& text);

  // When the last answer went out, the first byte after it came, and how late in all answers were.
  TimePoint AnswerTime() const { return answer_time_; }
  TimePoint FirstByteTime() const { return first_byte_time_; }
  Duration Lateness() const { return lateness_; }

 private:
  Clock::duration LineTime(std::size_t bytes) const;
  std::size_t ReadWhatIsThere(std::span<std::uint8_t> bytes);
  std::size_t ReadSome(std::span<std::uint8_t> bytes);

  int master_;
  std::uint64_t bits_per_second_;  // 0: nothing takes time
  bool answered_ = false;          // and nothing read since
  TimePoint passed_until_{};
  TimePoint answer_time_{};
  TimePoint first_byte_time_{};
  Duration lateness_{};
};

// This process plays hardware: it gets the processor before all programs, where that is allowed,
// and is woken from sleeps as soon as possible.
void PutThisProcessBeforeAllOthers();

// Without a paced line to keep to, it needn't interrupt its sender for every byte.
void PreferThisProcess();

}  // namespace kvo::bench
