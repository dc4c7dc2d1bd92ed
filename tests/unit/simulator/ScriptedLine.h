#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <sstream>
#include <vector>

#include "simulator/ByteStream.h"
#include "simulator/Line.h"
#include "simulator/Trace.h"
#include "support/SimulatorBytes.h"

namespace kvo::boardsimulator {

inline TimePoint AtMs(std::int64_t time) { return TimePoint(std::chrono::milliseconds(time)); }

// A line whose host follows a script, and whose time passes only when somebody waits, at once.
// The script is written before: bytes arrive at the scripted time, which begins at 0. One piece
// that arrives is one piece read. Waiting indefinitely for more than the script has ends the
// serving (kPeerClosed).
//
//   ScriptedLine line;
//   line.Arrive(FromHex("31")).Pause(1500).Arrive(packet);
//   ... run what is tested ...
//   EXPECT_EQ(line.SentHex(), "43 43");
class ScriptedLine : public Line {
 public:
  ScriptedLine& Arrive(Bytes bytes);
  ScriptedLine& Pause(std::int64_t milliseconds);
  // The host closes its end; the script may go on.
  ScriptedLine& Depart();

  // All that was written, as one and piece by piece, and the time of each piece.
  std::string SentText() const;
  std::string SentHex() const { return ToHex(FromText(SentText())); }
  std::vector<std::string> Pieces() const;
  std::vector<std::int64_t> Times() const;
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
  struct Piece {
    std::int64_t at_ms;
    std::string text;
  };

  TimePoint now_;
  TimePoint script_time_;
  std::deque<Arrival> arrivals_;
  std::vector<TimePoint> departures_;
  std::vector<Piece> pieces_;
};

// A trace that begins at 0 and can be read at any time.
class RecordedTrace : public Trace {
 public:
  RecordedTrace() : RecordedTrace(new std::ostringstream) {}
  std::string Text() const { return record_->str(); }

 private:
  explicit RecordedTrace(std::ostringstream* record)
      : Trace(std::unique_ptr<std::ostream>(record), AtMs(0)), record_(record) {}

  std::ostringstream* record_;
};

// What most tests of the board's pieces need.
class OnScriptedLine : public testing::Test {
 protected:
  ScriptedLine line_;
  ByteStream stream_{line_};
  RecordedTrace trace_;
};

}  // namespace kvo::boardsimulator
