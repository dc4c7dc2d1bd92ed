#include "simulator/YmodemReceiver.h"

#include <algorithm>
#include <array>
#include <utility>

#include "simulator/YmodemBytes.h"

namespace kvo::boardsimulator {
namespace {

constexpr std::uint64_t kLongestBlock = 1024;

constexpr std::array<std::uint8_t, 1> kAsk{kAskForCrc};
constexpr std::array<std::uint8_t, 1> kAcknowledge{kAck};
constexpr std::array<std::uint8_t, 2> kAcknowledgeAndAsk{kAck, kAskForCrc};
constexpr std::array<std::uint8_t, 1> kRefuse{kNak};
constexpr std::array<std::uint8_t, 2> kGiveUp{kCan, kCan};

std::uint8_t NumberOnLine(std::uint32_t block) { return static_cast<std::uint8_t>(block & 0xFFU); }

std::string NameOf(PacketDefect defect) {
  switch (defect) {
    case PacketDefect::kCutShort:
      return "packet cut short";
    case PacketDefect::kWrongComplement:
      return "packet number and complement differ";
    case PacketDefect::kWrongChecksum:
      return "wrong checksum";
    case PacketDefect::kNone:
      break;
  }
  return "";
}

}  // namespace

YmodemReceiver::YmodemReceiver(ByteStream& stream, const PacketZeroPolicy& policy,
                               AnswerSender& answers, Trace& trace, const ReceiverTimes& times)
    : stream_(stream),
      policy_(policy),
      answers_(answers),
      trace_(trace),
      times_(times),
      reader_(stream, std::min(times.longest_gap, times.silence)) {}

Reception YmodemReceiver::Receive() {
  TakeEvent(AskForPacketZero());
  while (!end_) {
    TakeEvent(reader_.Next(stream_.Now() + times_.silence));
  }
  return Result();
}

// A second 'C' confuses senders once their packet is under way, so the asking ends with the first
// byte that begins one.
SenderEvent YmodemReceiver::AskForPacketZero() {
  const TimePoint limit = stream_.Now() + times_.ask_limit;
  while (stream_.Now() < limit) {
    const AnswerOutcome outcome = answers_.Answer({PlaceKind::kStart}, kAsk);
    if (outcome == AnswerOutcome::kReplaced || outcome == AnswerOutcome::kCancelled) {
      end_ = ReceptionEnd::kCancelledByBoard;
      return {};
    }
    const TimePoint next_ask = std::min(stream_.Now() + times_.ask_interval, limit);
    while (true) {
      SenderEvent event = reader_.Next(next_ask);
      if (event.kind == SenderEventKind::kNothing) {
        break;
      }
      if (event.kind != SenderEventKind::kNoise) {
        return event;
      }
    }
  }
  end_ = ReceptionEnd::kNobodySends;
  return {};
}

void YmodemReceiver::TakeEvent(const SenderEvent& event) {
  if (end_) {
    return;
  }
  switch (event.kind) {
    case SenderEventKind::kPacket:
      TakePacket(event);
      break;
    case SenderEventKind::kBadPacket:
      Reject(NameOf(event.defect));
      break;
    case SenderEventKind::kEndOfFile:
      TakeEndOfFile();
      break;
    case SenderEventKind::kCancel:
      end_ = ReceptionEnd::kCancelledBySender;
      break;
    case SenderEventKind::kNothing:
      end_ = ReceptionEnd::kSilence;
      break;
    case SenderEventKind::kNoise:
      break;
  }
}

void YmodemReceiver::TakePacket(const SenderEvent& packet) {
  switch (stage_) {
    case Stage::kPacketZero:
      TakePacketZero(packet);
      break;
    case Stage::kBlocks:
      TakeBlock(packet);
      break;
    case Stage::kClosing:
      TakeClosing(packet);
      break;
  }
}

void YmodemReceiver::TakePacketZero(const SenderEvent& packet) {
  if (packet.number != 0) {
    return Abort("packet 0 expected");
  }
  const PacketZeroJudgement judgement = policy_.Judge(packet.data);
  if (!judgement.length) {
    return Reject("packet 0 refused: " + judgement.objection);
  }
  if (!Answer({PlaceKind::kPacketZero}, kAcknowledgeAndAsk)) {
    return;
  }
  announced_ = *judgement.length;
  stage_ = Stage::kBlocks;
}

void YmodemReceiver::TakeBlock(const SenderEvent& packet) {
  if (packet.number == NumberOnLine(blocks_)) {
    return AnswerRepeat();
  }
  if (packet.number != NumberOnLine(blocks_ + 1)) {
    return Abort("block out of sequence");
  }
  if (!Answer({PlaceKind::kBlock, blocks_ + 1}, kAcknowledge)) {
    return;
  }
  ++blocks_;
  last_block_size_ = packet.data.size();
  StoreWhatWasAnnounced(packet.data);
}

// A sender that goes on and on must not fill the memory; one block too many tells it enough.
void YmodemReceiver::StoreWhatWasAnnounced(std::span<const std::uint8_t> data) {
  if (data_.size() < announced_ + kLongestBlock) {
    data_.insert(data_.end(), data.begin(), data.end());
  }
}

// The sender has not heard that its packet was taken.
void YmodemReceiver::AnswerRepeat() {
  if (blocks_ == 0) {
    Answer({PlaceKind::kPacketZero}, kAcknowledgeAndAsk);
  } else {
    Answer({PlaceKind::kBlock, blocks_}, kAcknowledge);
  }
}

void YmodemReceiver::TakeEndOfFile() {
  if (stage_ == Stage::kPacketZero) {
    return Reject("end of file before packet 0");
  }
  if (Answer({PlaceKind::kEndOfFile}, kAcknowledgeAndAsk)) {
    stage_ = Stage::kClosing;
  }
}

void YmodemReceiver::TakeClosing(const SenderEvent& packet) {
  if (packet.number != 0 || !policy_.IsClosing(packet.data)) {
    return Abort("closing packet expected");
  }
  if (Answer({PlaceKind::kClosing}, kAcknowledge)) {
    end_ = ReceptionEnd::kComplete;
  }
}

void YmodemReceiver::Reject(const std::string& reason) {
  trace_.Event(reason, stream_.Now());
  stream_.Send(kRefuse);
}

void YmodemReceiver::Abort(const std::string& reason) {
  trace_.Event(reason, stream_.Now());
  stream_.Send(kGiveUp);
  end_ = ReceptionEnd::kCancelledByBoard;
}

// Returns whether what is answered has been taken.
bool YmodemReceiver::Answer(const Place& place, std::span<const std::uint8_t> right_answer) {
  const AnswerOutcome outcome = answers_.Answer(place, right_answer);
  if (outcome == AnswerOutcome::kCancelled) {
    end_ = ReceptionEnd::kCancelledByBoard;
  }
  return outcome == AnswerOutcome::kTaken;
}

Reception YmodemReceiver::Result() {
  const bool enough = data_.size() >= announced_;
  const bool no_block_too_many = data_.empty() || data_.size() - last_block_size_ < announced_;
  Reception reception;
  reception.end = *end_;
  reception.blocks = blocks_;
  reception.whole = end_ == ReceptionEnd::kComplete && enough && no_block_too_many;
  if (enough) {
    data_.resize(announced_);
  }
  reception.image = std::move(data_);
  return reception;
}

}  // namespace kvo::boardsimulator
