#include "simulator/RestoreSequence.h"

#include <algorithm>
#include <string_view>

#include "simulator/Request.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;

constexpr char kSecond = '6';
constexpr std::string_view kRest = "tCRL";
constexpr milliseconds kShortestGap{50};
constexpr milliseconds kLongestGap{500};

std::string InMs(milliseconds time) { return std::to_string(time.count()) + " ms"; }

}  // namespace

RestoreStage RestoreSequence::Follow(TimePoint until) {
  if (stage_ != RestoreStage::kPossible) {
    return stage_;
  }
  const TimePoint limit = begin_ + kLongestGap;
  if (const auto byte = stream_.ReadByte(std::min(until, limit))) {
    return stage_ = TakeSecond(*byte);
  }
  if (stream_.Now() >= limit) {
    stage_ = RestoreStage::kAbsent;
  }
  return stage_;
}

RestoreStage RestoreSequence::TakeSecond(std::uint8_t byte) {
  if (byte != kSecond) {
    other_byte_ = byte;
    return RestoreStage::kAbsent;
  }
  std::string objection = ObjectionTo(byte, kSecond);
  if (objection.empty()) {
    objection = ObjectionToRest();
  }
  if (objection.empty()) {
    trace_.Event("default parameters restored, gaps in ms:" + gaps_, stream_.Now());
    return RestoreStage::kComplete;
  }
  trace_.Event("default parameters not restored: " + objection, stream_.Now());
  return RestoreStage::kBroken;
}

std::string RestoreSequence::ObjectionToRest() {
  for (const char expected : kRest) {
    std::string objection = ObjectionTo(stream_.ReadByte(last_ + kLongestGap), expected);
    if (!objection.empty()) {
      return objection;
    }
  }
  return "";
}

std::string RestoreSequence::ObjectionTo(std::optional<std::uint8_t> byte, char expected) {
  const std::string expected_name = NameOfCode(static_cast<std::uint8_t>(expected));
  if (!byte) {
    return "no " + expected_name + " within " + InMs(kLongestGap);
  }
  if (*byte != static_cast<std::uint8_t>(expected)) {
    return NameOfCode(*byte) + " in place of " + expected_name;
  }
  const auto gap = std::chrono::duration_cast<milliseconds>(stream_.Now() - last_);
  if (gap < kShortestGap) {
    return expected_name + " after " + InMs(gap) + ", too early";
  }
  gaps_ += " " + std::to_string(gap.count());
  last_ = stream_.Now();
  return "";
}

}  // namespace kvo::boardsimulator
