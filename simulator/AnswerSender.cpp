#include "simulator/AnswerSender.h"

#include <array>

#include "simulator/YmodemBytes.h"

namespace kvo::boardsimulator {
namespace {

constexpr std::array<std::uint8_t, 1> kNakAnswer{kNak};
constexpr std::array<std::uint8_t, 1> kAskAgainAnswer{kAskForCrc};
constexpr std::array<std::uint8_t, 2> kCancelAnswer{kCan, kCan};

}  // namespace

AnswerOutcome AnswerSender::Answer(const Place& place, std::span<const std::uint8_t> right_answer) {
  const std::optional<Fault> fault = faults_.Take(place);
  if (!fault) {
    return SendAs(right_answer, AnswerOutcome::kTaken);
  }
  trace_.Event("fault " + fault->text, stream_.Now());
  return Misbehave(*fault, right_answer);
}

AnswerOutcome AnswerSender::Misbehave(const Fault& fault,
                                      std::span<const std::uint8_t> right_answer) {
  switch (fault.action) {
    case FaultAction::kNak:
      return SendAs(kNakAnswer, AnswerOutcome::kNotTaken);
    case FaultAction::kAskAgain:
      return SendAs(kAskAgainAnswer, AnswerOutcome::kNotTaken);
    case FaultAction::kCancel:
      return SendAs(kCancelAnswer, AnswerOutcome::kCancelled);
    case FaultAction::kByte:
      return SendAs(std::span(&fault.byte, 1), AnswerOutcome::kReplaced);
    case FaultAction::kSilence:
      return AnswerOutcome::kNotTaken;
    case FaultAction::kLate:
      stream_.Wait(fault.delay);
      return SendAs(right_answer, AnswerOutcome::kTaken);
    case FaultAction::kLostAck:
      return SendAs(right_answer.subspan(1), AnswerOutcome::kTaken);
    case FaultAction::kDoubleAck:
      stream_.Send(right_answer.first(1));
      return SendAs(right_answer, AnswerOutcome::kTaken);
    case FaultAction::kHangUp:
      break;
  }
  throw ServingEnded(EndReason::kHangUp);
}

AnswerOutcome AnswerSender::SendAs(std::span<const std::uint8_t> answer, AnswerOutcome outcome) {
  stream_.Send(answer);
  return outcome;
}

}  // namespace kvo::boardsimulator
