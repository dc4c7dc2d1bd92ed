#include "unit/simulator/ScriptedLine.h"

#include <iterator>
#include <utility>

namespace kvo::boardsimulator {

ScriptedLine& ScriptedLine::Arrive(Bytes bytes) {
  arrivals_.push_back({script_time_, std::move(bytes)});
  return *this;
}

ScriptedLine& ScriptedLine::Pause(std::int64_t milliseconds) {
  script_time_ += std::chrono::milliseconds(milliseconds);
  return *this;
}

ScriptedLine& ScriptedLine::Depart() {
  departures_.push_back(script_time_);
  return *this;
}

std::uint64_t ScriptedLine::Departures() const {
  const auto is_past = [this](TimePoint departure) { return departure <= now_; };
  return static_cast<std::uint64_t>(std::ranges::count_if(departures_, is_past));
}

std::string ScriptedLine::SentText() const {
  std::string sent;
  for (const Piece& piece : pieces_) {
    sent += piece.text;
  }
  return sent;
}

std::vector<std::string> ScriptedLine::Pieces() const {
  std::vector<std::string> texts;
  std::ranges::transform(pieces_, std::back_inserter(texts), &Piece::text);
  return texts;
}

std::vector<std::int64_t> ScriptedLine::Times() const {
  std::vector<std::int64_t> times;
  std::ranges::transform(pieces_, std::back_inserter(times), &Piece::at_ms);
  return times;
}

std::int64_t ScriptedLine::NowInMs() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(now_.time_since_epoch()).count();
}

std::size_t ScriptedLine::Read(std::span<std::uint8_t> into, TimePoint until) {
  if (arrivals_.empty() && until == kNever) {
    throw ServingEnded(EndReason::kPeerClosed);
  }
  if (arrivals_.empty() || arrivals_.front().when > std::max(until, now_)) {
    WaitUntil(until);
    return 0;
  }
  Arrival& arrival = arrivals_.front();
  WaitUntil(arrival.when);
  const std::size_t count = std::min(into.size(), arrival.bytes.size());
  const auto end = arrival.bytes.begin() + static_cast<std::ptrdiff_t>(count);
  std::copy(arrival.bytes.begin(), end, into.begin());
  arrival.bytes.erase(arrival.bytes.begin(), end);
  if (arrival.bytes.empty()) {
    arrivals_.pop_front();
  }
  return count;
}

void ScriptedLine::Write(std::span<const std::uint8_t> bytes) {
  if (!bytes.empty()) {
    pieces_.push_back({NowInMs(), ToText(bytes)});
  }
}

}  // namespace kvo::boardsimulator
