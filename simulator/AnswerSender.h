#pragma once

#include "simulator/ByteStream.h"
#include "simulator/FaultPlan.h"
#include "simulator/Trace.h"

namespace kvo::boardsimulator {

// What became of what the board has just answered.
enum class AnswerOutcome {
  kTaken,      // the board has taken it, whatever the host heard of that
  kNotTaken,   // as if it had never come
  kReplaced,   // not taken, and the host got a byte it cannot know
  kCancelled,  // not taken, and the attempt is over
};

// Sends the board's answers during an upload, rightly or as the plan of faults wants it. Borrows
// everything.
class AnswerSender {
 public:
  AnswerSender(ByteStream& stream, FaultPlan& faults, Trace& trace)
      : stream_(stream), faults_(faults), trace_(trace) {}

  // `right_answer` must not be empty. Throws ServingEnded (kHangUp) for the fault of that name.
  AnswerOutcome Answer(const Place& place, std::span<const std::uint8_t> right_answer);

 private:
  AnswerOutcome Misbehave(const Fault& fault, std::span<const std::uint8_t> right_answer);
  AnswerOutcome SendAs(std::span<const std::uint8_t> answer, AnswerOutcome outcome);

  ByteStream& stream_;
  FaultPlan& faults_;
  Trace& trace_;
};

}  // namespace kvo::boardsimulator
