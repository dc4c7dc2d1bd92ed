#include "fuzz/TransferModel.h"

#include <utility>

#include "fuzz/Require.h"

namespace kvo::bootloadertms::testing {

namespace {

constexpr std::uint8_t kAck = 0x06;
constexpr std::uint8_t kNak = 0x15;

std::uint16_t Crc(const std::string& data) {
  std::uint32_t crc = 0;
  for (const char byte : data) {
    std::uint32_t x = (crc >> 8) ^ static_cast<std::uint8_t>(byte);
    x ^= x >> 4;
    crc = ((crc << 8) ^ (x << 12) ^ (x << 5) ^ x) & 0xFFFF;
  }
  return static_cast<std::uint16_t>(crc);
}

std::string Packet(std::size_t number, const std::string& data) {
  const std::uint16_t crc = Crc(data);
  const char header = data.size() == 128 ? '\x01' : '\x02';
  const auto number_byte = static_cast<char>(number % 256);
  return std::string{header, number_byte, static_cast<char>(255 - number % 256)} + data +
         std::string{static_cast<char>(crc / 256), static_cast<char>(crc % 256)};
}

std::string FilledUp(std::string text, std::size_t size, char filling) {
  text.resize(size, filling);
  return text;
}

}  // namespace

std::string PacketZeroOfBoard(std::uint32_t length, const std::string& board,
                              const std::string& application, const std::string& version) {
  return FilledUp(FilledUp(std::to_string(length), 17, '\0') + FilledUp(board, 32, '\0') +
                      FilledUp(application, 32, '\0') + FilledUp(version, 32, '\0'),
                  128, '\0');
}

std::optional<std::string> PacketZeroOfRecord(std::uint32_t length, const std::string& f1,
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

TransferModel::TransferModel(std::optional<std::string> packet_zero, const std::string& image)
    : packet_zero_(std::move(packet_zero)) {
  for (std::size_t start = 0; start < image.size(); start += 1024) {
    blocks_.push_back(FilledUp(image.substr(start, 1024), 1024, '\xFF'));
  }
}

TransferModel::Result TransferModel::Play(Line& line) {
  State state = State::kWaiting;
  while (state != State::kSent && state != State::kFailed) {
    if (state == State::kPacketZero && !packet_zero_) {
      return Result::kPacketZeroTooLong;
    }
    line.Write(Sends(state));
    state = state == State::kGivenUp ? State::kFailed : Next(state, line.ReadByte());
  }
  return state == State::kSent ? Result::kSent : Result::kFailed;
}

std::string TransferModel::Sends(State state) const {
  switch (state) {
    case State::kPacketZero:
      return Packet(0, packet_zero_.value());
    case State::kBlock:
      return Packet(block_ + 1, blocks_.at(block_));
    case State::kEndOfFile:
      return "\x04";
    case State::kClosingPacket:
      return Packet(0, std::string(128, '\0'));
    case State::kGivenUp:
      return "\x18\x18";
    default:
      return "";
  }
}

TransferModel::State TransferModel::Next(State state, std::uint8_t answer) {
  switch (state) {
    case State::kWaiting:
      return answer == 'C' ? State::kPacketZero : answer == 'F' ? State::kFailed : State::kWaiting;
    case State::kPacketZero:
      return AfterPacketZero(answer);
    case State::kPacketZeroTaken:
      return answer == 'C' ? BlockOrEnd() : State::kPacketZero;
    case State::kBlock:
      return AfterBlock(answer);
    case State::kEndOfFile:
      return answer == kNak   ? State::kEndOfFile
             : answer == kAck ? State::kEndOfFileTaken
                              : State::kFailed;
    case State::kEndOfFileTaken:
      return answer == 'C' ? State::kClosingPacket : State::kSent;
    case State::kClosingPacket:
      return answer == kAck ? State::kSent : State::kClosingPacket;
    default:
      return State::kFailed;
  }
}

TransferModel::State TransferModel::AfterPacketZero(std::uint8_t answer) {
  if (answer == kAck) {
    return State::kPacketZeroTaken;
  }
  const bool is_asked_for = asked_again_ ? answer == kNak : answer == 'C';
  asked_again_ = asked_again_ || answer == 'C';
  return is_asked_for ? State::kPacketZero : State::kGivenUp;
}

TransferModel::State TransferModel::AfterBlock(std::uint8_t answer) {
  if (answer == kAck) {
    ++block_;
    return BlockOrEnd();
  }
  return answer == kNak || answer == 'C' ? State::kBlock : State::kFailed;
}

TransferModel::State TransferModel::BlockOrEnd() const {
  return block_ < blocks_.size() ? State::kBlock : State::kEndOfFile;
}

std::string DataAcknowledged(const std::string& record) {
  std::string data;
  std::string packet;
  std::size_t number = 1;
  for (std::size_t i = 0; i + 1 < record.size(); i += 2) {  // a last read has no answer
    const char value = record.at(i + 1);
    if (record[i] == 'w') {
      packet += value;
      continue;
    }
    if (value == kAck && !packet.empty() && packet.front() == '\x02') {
      Require(packet.size() == 1029, "a block is 1029 bytes long");
      data += packet.substr(3, 1024);
      Require(packet == Packet(number, packet.substr(3, 1024)), "the block is the next");
      ++number;
    }
    packet.clear();
  }
  return data;
}

}  // namespace kvo::bootloadertms::testing
