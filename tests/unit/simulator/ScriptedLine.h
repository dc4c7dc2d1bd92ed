#pragma once

#include <algorithm>
#include <deque>
#include <vector>

#include "simulator/Line.h"
#include "unit/simulator/Bytes.h"

namespace kvo::boardsimulator {

// A line whose host follows a script, and whose time passes only when somebody waits, at once.
// The script is written before: bytes arrive at the scripted time, which begins at 0. One piece
// that arrives is one piece read. Waiting without an end for more than the script has ends the
// serving (kPeerClosed).
//
//   ScriptedLine line;
//   line.Arrive(FromHex("31")).Pause(1500).Arrive(packet);
//   ... run what is tested ...
//   EXPECT_EQ(ToHex(line.Sent()), "43 43");
class ScriptedLine : public Line {
 public:
  struct Answer {
    std::int64_t at_ms;
    Bytes bytes;
  };

  ScriptedLine& Arrive(Bytes bytes);
  ScriptedLine& Pause(std::int64_t milliseconds);
  // The host closes its end; the script may go on.
  ScriptedLine& Depart();

  // All that was written, as one and piece by piece.
  Bytes Sent() const;
  const std::vector<Answer>& Answers() const { return answers_; }
  // The time at which each piece was written.
  std::vector<std::int64_t> AnswerTimes() const;
  std::int64_t NowInMs() const;

  std::size_t Read(std::span<std::uint8_t> into, TimePoint until) override;
  void Write(std::span<const std::uint8_t> bytes) override;
  void WaitUntil(TimePoint until) override { now_ = std::max(now_, until); }
  std::uint64_t Departures() const override;
  TimePoint Now() const override { return now_; }

 private:
  struct Arrival {
    TimePoint when;
    Bytes bytes;
  };

  TimePoint now_;
  TimePoint script_time_;
  std::deque<Arrival> arrivals_;
  std::vector<TimePoint> departures_;
  std::vector<Answer> answers_;
};

}  // namespace kvo::boardsimulator
