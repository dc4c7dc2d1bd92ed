#include "faults/DialogueModel.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace kvo::bootloadertms::testing {

namespace {

using State = DialogueModel::State;

enum class Sends {
  kNothing,
  kPacketZero,
  kCanCan,
  kSameBlock,
  kNextBlock,  // EOT if there is none
  kEndOfFile,
  kClosingPacket,
};

struct Step {
  Sends sends;
  State state;
};

constexpr Step kWaitOn{Sends::kNothing, State::kStart};
constexpr Step kNoStart{Sends::kNothing, State::kTransmitFailed};
constexpr Step kZero{Sends::kPacketZero, State::kPacketZero};
constexpr Step kZeroAsked{Sends::kPacketZero, State::kPacketZeroAsked};
constexpr Step kWish{Sends::kNothing, State::kGoAhead};
constexpr Step kWishAsked{Sends::kNothing, State::kGoAheadAsked};
constexpr Step kCancel{Sends::kCanCan, State::kTransmitFailed};
constexpr Step kNext{Sends::kNextBlock, State::kBlock};
constexpr Step kSame{Sends::kSameBlock, State::kBlock};
constexpr Step kFailed{Sends::kNothing, State::kTransmitFailed};
constexpr Step kEot{Sends::kEndOfFile, State::kEndOfFile};
constexpr Step kEnded{Sends::kNothing, State::kClosingWish};
constexpr Step kClose{Sends::kClosingPacket, State::kClosing};
constexpr Step kJudge{Sends::kNothing, State::kVerdict};
constexpr Step kAccepted{Sends::kNothing, State::kAccepted};
constexpr Step kRefused{Sends::kNothing, State::kRefused};

// A row a state that is no end, a column an answer.
constexpr std::array<std::array<Step, 6>, 10> kDialogue = {{
    // ACK, NAK, 'C', 'F', 'O', anything else
    {kWaitOn, kWaitOn, kZero, kNoStart, kWaitOn, kWaitOn},                // kStart
    {kWish, kCancel, kZeroAsked, kCancel, kCancel, kCancel},              // kPacketZero
    {kWishAsked, kZeroAsked, kCancel, kCancel, kCancel, kCancel},         // kPacketZeroAsked
    {kZero, kZero, kNext, kZero, kZero, kZero},                           // kGoAhead
    {kZeroAsked, kZeroAsked, kNext, kZeroAsked, kZeroAsked, kZeroAsked},  // kGoAheadAsked
    {kNext, kSame, kSame, kFailed, kFailed, kFailed},                     // kBlock
    {kEnded, kEot, kFailed, kFailed, kFailed, kFailed},                   // kEndOfFile
    {kJudge, kJudge, kClose, kJudge, kJudge, kJudge},                     // kClosingWish
    {kJudge, kClose, kClose, kClose, kClose, kClose},                     // kClosing
    {kRefused, kRefused, kRefused, kRefused, kAccepted, kRefused},        // kVerdict
}};

std::size_t ColumnOf(std::uint8_t answer) {
  switch (answer) {
    case 0x06:
      return 0;
    case 0x15:
      return 1;
    case 'C':
      return 2;
    case 'F':
      return 3;
    case 'O':
      return 4;
    default:
      return 5;
  }
}

const std::string kNothing;
const std::string kReceive = "1";
const std::string kCanCan = "\x18\x18";
const std::string kEndOfFileByte = "\x04";
const std::string kClosingPacket = std::string("\x01\x00\xFF", 3) + std::string(130, '\0');

}  // namespace

DialogueModel::DialogueModel(std::string packet_zero, std::vector<std::string> blocks)
    : packet_zero_(std::move(packet_zero)), blocks_(std::move(blocks)), to_send_(&kReceive) {}

void DialogueModel::Restart() {
  state_ = State::kStart;
  block_ = 0;
  to_send_ = &kReceive;
}

const std::string& DialogueModel::ToSend() const { return *to_send_; }

void DialogueModel::Take(std::uint8_t answer) {
  const Step& step = kDialogue.at(static_cast<std::size_t>(state_)).at(ColumnOf(answer));
  state_ = step.state;
  switch (step.sends) {
    case Sends::kNothing:
      to_send_ = &kNothing;
      break;
    case Sends::kPacketZero:
      to_send_ = &packet_zero_;
      break;
    case Sends::kCanCan:
      to_send_ = &kCanCan;
      break;
    case Sends::kSameBlock:
      to_send_ = &blocks_.at(block_ - 1);
      break;
    case Sends::kNextBlock:
      ++block_;
      state_ = block_ <= blocks_.size() ? State::kBlock : State::kEndOfFile;
      to_send_ = block_ <= blocks_.size() ? &blocks_.at(block_ - 1) : &kEndOfFileByte;
      break;
    case Sends::kEndOfFile:
      to_send_ = &kEndOfFileByte;
      break;
    case Sends::kClosingPacket:
      to_send_ = &kClosingPacket;
      break;
  }
}

DialogueModel::State DialogueModel::GetState() const { return state_; }

bool DialogueModel::HasEnded() const { return state_ >= State::kAccepted; }

}  // namespace kvo::bootloadertms::testing
