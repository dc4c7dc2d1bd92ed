#include "tables/TransferModel.h"

#include <array>
#include <utility>

namespace kvo::bootloadertms::testing {

namespace {

using enum TransferModel::State;

constexpr std::size_t kBlockSize = 1024;

// A row per state that is no end, a column per answer.
constexpr std::array<std::array<TransferModel::State, 6>, 10> kDialogue = {{
    // ACK, NAK, 'C', 'F', 'O', anything else
    {kStart, kStart, kZero, kFailed, kStart, kStart},                             // kStart
    {kGoAhead, kCancelled, kZeroAsked, kCancelled, kCancelled, kCancelled},       // kZero
    {kGoAheadAsked, kZeroAsked, kCancelled, kCancelled, kCancelled, kCancelled},  // kZeroAsked
    {kZero, kZero, kNextBlock, kZero, kZero, kZero},                              // kGoAhead
    {kZeroAsked, kZeroAsked, kNextBlock, kZeroAsked, kZeroAsked, kZeroAsked},     // ...Asked
    {kNextBlock, kBlock, kBlock, kFailed, kFailed, kFailed},                      // kBlock
    {kNextFile, kEndOfFile, kFailed, kFailed, kFailed, kFailed},                  // kEndOfFile
    {kVerdict, kVerdict, kClosing, kVerdict, kVerdict, kVerdict},                 // kNextFile
    {kVerdict, kClosing, kClosing, kClosing, kClosing, kClosing},                 // kClosing
    {kRefused, kRefused, kRefused, kRefused, kAccepted, kRefused},                // kVerdict
}};

constexpr std::uint8_t kAck = 0x06;
constexpr std::uint8_t kNak = 0x15;
constexpr std::uint8_t kCan = 0x18;

std::size_t ColumnOf(std::optional<std::uint8_t> answer) {
  const char byte = static_cast<char>(answer.value_or(0x00));
  const std::size_t column = std::string("\x06\x15\x43\x46\x4F").find(byte);
  return column == std::string::npos ? 5 : column;
}

std::uint16_t Crc(const std::string& data) {
  std::uint32_t crc = 0;
  for (const char byte : data) {
    std::uint32_t x = (crc >> 8) ^ static_cast<std::uint8_t>(byte);
    x ^= x >> 4;
    crc = ((crc << 8) ^ (x << 12) ^ (x << 5) ^ x) & 0xFFFF;
  }
  return static_cast<std::uint16_t>(crc);
}

std::string FilledUp(std::string text, std::size_t size, char filling) {
  text.resize(size, filling);
  return text;
}

}  // namespace

std::string PacketZeroOfBoard(std::size_t length, const Board& board) {
  const std::string names = FilledUp(board.board_name, 32, '\0') +
                            FilledUp(board.application_name, 32, '\0') + board.version;
  return FilledUp(FilledUp(std::to_string(length), 17, '\0') + names, 128, '\0');
}

std::optional<std::string> PacketZeroOfRecord(std::size_t length, const std::string& f1,
                                              const std::string& f2, const std::string& f3) {
  std::string text;
  std::size_t in_piece = 0;
  for (const char character : f1 + '|' + f2 + '|' + f3 + '|') {
    if (in_piece == 31) {
      text += ' ';
      in_piece = 0;
    }
    text += character;
    ++in_piece;
  }
  if (text.size() > 110) {
    return std::nullopt;
  }
  return FilledUp(FilledUp(std::to_string(length), 17, '\0') + text, 128, '\0');
}

std::string PacketOf(std::size_t number, const std::string& data) {
  const std::uint16_t crc = Crc(data);
  const char header = data.size() == 128 ? '\x01' : '\x02';
  const auto number_byte = static_cast<char>(number % 256);
  return std::string{header, number_byte, static_cast<char>(255 - number % 256)} + data +
         std::string{static_cast<char>(crc / 256), static_cast<char>(crc % 256)};
}

TransferModel::TransferModel(std::optional<std::string> packet_zero, const std::string& image,
                             Host host)
    : host_(host),
      packet_zero_(std::move(packet_zero)),
      blocks_(FilledUp(image, (image.size() + kBlockSize - 1) / kBlockSize * kBlockSize, '\xFF')) {}

void TransferModel::Restart() {
  block_ = 0;
  state_ = kStart;
  wrong_answers_ = 0;
  silence_ = std::chrono::milliseconds(0);
  to_send_ = "1";
}

void TransferModel::Take(std::optional<std::uint8_t> answer) {
  const State before = state_;
  state_ = kDialogue.at(static_cast<std::size_t>(before)).at(ColumnOf(answer));
  if (state_ == kZero && !packet_zero_) {
    state_ = kPacketZeroTooLong;
  } else if (state_ == kNextBlock) {
    state_ = block_ * kBlockSize < blocks_.size() ? kBlock : kEndOfFile;
    ++block_;
  }
  if (host_ == Host::kBoards) {
    state_ = AsKvoBoardsHasIt(before, answer, state_);
  }
  to_send_ = SentOnEntering(state_);
}

void TransferModel::Play(Wire& wire) {
  do {
    Take(wire.ReadByte());
    wire.WriteAll(to_send_);
  } while (state_ < kVerdict);
}

TransferModel::State TransferModel::AsKvoBoardsHasIt(State before,
                                                     std::optional<std::uint8_t> answer,
                                                     State after) {
  if (before == kClosing) {
    return AfterClosing(answer);
  }
  const bool is_ended_by_board = before == kStart || answer == kCan;
  if (after == kFailed && !is_ended_by_board) {
    return kCancelled;
  }
  return after == kRefused && !answer ? kCancelled : after;
}

TransferModel::State TransferModel::AfterClosing(std::optional<std::uint8_t> answer) {
  using std::chrono::operator""s;
  silence_ = answer ? 0s : silence_ + kAnswerTimeout;
  if (!answer) {
    return silence_ < 5s ? kClosing : kCancelled;
  }
  if (answer == kAck || answer == kCan) {
    return answer == kAck ? kVerdict : kFailed;
  }
  wrong_answers_ += answer == kNak || answer == 'C' ? 0 : 1;
  return wrong_answers_ < 10 ? kClosing : kCancelled;
}

std::string TransferModel::SentOnEntering(State state) const {
  switch (state) {
    case kZero:
    case kZeroAsked:
      return PacketOf(0, packet_zero_.value());
    case kBlock:
      return PacketOf(block_, blocks_.substr((block_ - 1) * kBlockSize, kBlockSize));
    case kEndOfFile:
      return "\x04";
    case kClosing:
      return PacketOf(0, std::string(128, '\0'));
    case kCancelled:
      return "\x18\x18";
    default:
      return "";
  }
}

}  // namespace kvo::bootloadertms::testing
