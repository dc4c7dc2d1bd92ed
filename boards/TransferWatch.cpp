#include "boards/TransferWatch.h"

#include <kvo/bootloadertms/TargetProtocol.h>
#include <kvo/bootloadertms/YmodemProtocol.h>

#include <algorithm>
#include <utility>

namespace kvo::boards {

namespace {

namespace target = bootloadertms::target;
namespace ymodem = bootloadertms::ymodem;

constexpr std::size_t kAfterNumber = 3;  // the number's complement, and two bytes of checksum
constexpr int kMostWrongClosingAnswers = 10;
constexpr std::chrono::seconds kLongestSilence{5};

}  // namespace

TransferWatch::TransferWatch(ISerialPort& port, std::uint64_t image_bytes,
                             std::function<bool()> has_read, std::function<void()> on_progress)
    : PortDecorator(port),
      image_bytes_(image_bytes),
      blocks_(
          static_cast<std::uint32_t>((image_bytes + ymodem::kBlockSize - 1) / ymodem::kBlockSize)),
      has_read_(std::move(has_read)),
      on_progress_(std::move(on_progress)) {}

TransferWatch::Position TransferWatch::GetPosition() const {
  return {.block = block_, .blocks = blocks_, .bytes_sent = bytes_sent_};
}

void TransferWatch::WriteByte(std::uint8_t byte) {
  if (ignored_ > 0) [[likely]] {
    --ignored_;
  } else {
    Follow(byte);
  }
  Port().WriteByte(byte);
}

void TransferWatch::Follow(std::uint8_t byte) {
  if (is_number_next_) {
    TakeNumber(byte);
  } else if (IsInTransfer()) {
    BeginPacket(byte);
  } else if (byte == target::kReceiveImage) {
    stage_ = Stage::kStart;
  }
}

// What is no packet is a byte of its own.
void TransferWatch::BeginPacket(std::uint8_t header) {
  switch (header) {
    case ymodem::kSoh:
      is_number_next_ = true;
      after_number_ = ymodem::kPacketZeroSize + kAfterNumber;
      stage_ = stage_ < Stage::kBlocks ? Stage::kPacketZero : Stage::kClosing;
      break;
    case ymodem::kStx:
      is_number_next_ = true;
      after_number_ = ymodem::kBlockSize + kAfterNumber;
      if (stage_ != Stage::kBlocks) {
        stage_ = Stage::kBlocks;
        blocks_began_ = Clock::now();
      }
      break;
    case ymodem::kEot:
      stage_ = Stage::kEnd;
      block_ = blocks_;
      break;
    case target::kCancel:
      cancelled_ = true;
      break;
    default:
      break;
  }
}

// A block that is sent once more, or was awaited since the last one's answer, has this number; the
// first has the next.
void TransferWatch::TakeNumber(std::uint8_t number) {
  is_number_next_ = false;
  ignored_ = after_number_;
  if (stage_ == Stage::kBlocks && number != static_cast<std::uint8_t>(block_)) {
    ++block_;
  }
}

std::uint8_t TransferWatch::ReadByte() {
  const std::uint8_t byte = Port().ReadByte();
  answer_.reset();
  if (has_read_()) {
    answer_ = byte;
  }
  TakeAnswer();
  return byte;
}

void TransferWatch::TakeAnswer() {
  switch (stage_) {
    case Stage::kBlocks:
      if (answer_ == ymodem::kAck) {
        bytes_sent_ =
            std::min<std::uint64_t>(image_bytes_, std::uint64_t{block_} * ymodem::kBlockSize);
        block_ = std::min(block_ + 1, blocks_);
        on_progress_();
      }
      break;
    case Stage::kEnd:
      if (answer_ == ymodem::kAck) {
        stage_ = Stage::kNext;
      }
      break;
    case Stage::kNext:
      stage_ = answer_ == ymodem::kCrcRequest ? Stage::kClosing : Stage::kVerdict;
      silent_since_ = Clock::now();
      break;
    case Stage::kClosing:
      TakeClosingAnswer();
      break;
    case Stage::kVerdict:
      if (answer_) {
        stage_ = Stage::kOver;
        verdict_came_ = Clock::now();
      }
      break;
    default:
      break;
  }
}

void TransferWatch::TakeClosingAnswer() {
  if (answer_ == ymodem::kAck) {
    stage_ = Stage::kVerdict;
    return;
  }
  if (answer_) {
    silent_since_ = Clock::now();
  }
  const bool asks_again = answer_ == ymodem::kNak || answer_ == ymodem::kCrcRequest;
  wrong_closing_answers_ += answer_ && !asks_again ? 1 : 0;
  if (answer_ == target::kCancel || wrong_closing_answers_ == kMostWrongClosingAnswers ||
      Clock::now() - silent_since_ >= kLongestSilence) {
    throw HopelessTransfer();
  }
}

}  // namespace kvo::boards
