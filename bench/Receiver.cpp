#include "bench/Receiver.h"

#include <array>

namespace kvo::bench {
namespace {

constexpr std::uint8_t kSoh = 0x01;
constexpr std::uint8_t kStx = 0x02;
constexpr std::uint8_t kEot = 0x04;
const std::string kAck = "\x06";
const std::string kAckAndAsk =
    "\x06"
    "C";
const std::string kNak = "\x15";

constexpr std::size_t kSmallData = 128;
constexpr std::size_t kLargeData = 1024;
constexpr std::size_t kAfterHeader = 2;  // number and complement
constexpr std::size_t kChecksum = 2;

constexpr std::chrono::milliseconds kAskInterval{200};

struct Block {
  std::array<std::uint8_t, kAfterHeader + kLargeData + kChecksum> bytes;
};

void Require(bool condition, const char* complaint) {
  if (!condition) {
    throw std::runtime_error(complaint);
  }
}

std::uint8_t ReadByte(PacedTerminal& line) {
  std::uint8_t byte = 0;
  line.Read(std::span(&byte, 1));
  return byte;
}

std::uint32_t Checksum(std::span<const std::uint8_t> data) {
  std::uint32_t crc = 0;
  for (const std::uint8_t byte : data) {
    crc ^= std::uint32_t{byte} << 8;
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc << 1) ^ ((crc & 0x8000) != 0 ? 0x11021 : 0);
    }
  }
  return crc;
}

void WaitForCommand(PacedTerminal& line) {
  for (std::uint8_t byte = ReadByte(line); byte != '1'; byte = ReadByte(line)) {
    if (byte == '0') {
      line.Answer("A");
    }
  }
}

// A sender that is not ready yet misses it, so it is asked again.
void Ask(PacedTerminal& line) {
  do {
    line.Answer("C");
  } while (!line.Wait(kAskInterval));
}

void TakeSmallPacket(PacedTerminal& line) {
  Require(ReadByte(line) == kSoh, "packet 0 expected");
  std::array<std::uint8_t, kAfterHeader + kSmallData + kChecksum> rest{};
  line.Read(rest);
}

// After the measured part, so that it costs nothing there.
void Unpack(const std::vector<Block>& blocks, Reception& reception) {
  std::uint8_t number = 0;
  for (const Block& block : blocks) {
    ++number;
    const std::span data(block.bytes.data() + kAfterHeader, kLargeData);
    const auto* checksum = block.bytes.data() + kAfterHeader + kLargeData;
    Require(block.bytes[0] == number, "block out of sequence");
    Require((block.bytes[0] ^ block.bytes[1]) == 0xFF, "wrong complement");
    Require(Checksum(data) == (std::uint32_t{checksum[0]} << 8 | checksum[1]), "wrong checksum");
    reception.image.insert(reception.image.end(), data.begin(), data.end());
  }
  reception.blocks = blocks.size();
}

// Returns whether the sender has ended the file; it hasn't when `most_blocks` have come before.
bool TakeBlocks(PacedTerminal& line, std::optional<std::size_t> most_blocks, Reception& reception) {
  std::vector<Block> blocks;
  line.Answer(kAckAndAsk);
  const TimePoint start = line.AnswerTime();
  const Duration late_before = line.Lateness();
  bool ended = false;
  while (blocks.size() != most_blocks) {
    const std::uint8_t header = ReadByte(line);
    ended = header == kEot;
    if (ended) {
      break;
    }
    Require(header == kStx, "block expected");
    reception.gaps.emplace_back(line.FirstByteTime() - line.AnswerTime());
    line.Read(blocks.emplace_back().bytes);
    line.Answer(kAck);
    reception.data_phase = line.AnswerTime() - start - (line.Lateness() - late_before);
  }
  Unpack(blocks, reception);
  return ended;
}

}  // namespace

Reception Receive(PacedTerminal& line, Manner manner, std::optional<std::size_t> most_blocks) {
  Reception reception;
  if (manner == Manner::kCommanded) {
    WaitForCommand(line);
  }
  Ask(line);
  TakeSmallPacket(line);
  if (!TakeBlocks(line, most_blocks, reception)) {
    return reception;
  }
  line.Answer(kAckAndAsk);
  TakeSmallPacket(line);
  line.Answer(manner == Manner::kCommanded ? kAck + "O" : kAck);
  return reception;
}

void RefuseBlocks(PacedTerminal& line) {
  try {
    std::array<std::uint8_t, 1 + sizeof(Block)> block{};
    while (true) {
      line.Read(block);
      line.Answer(kNak);
    }
  } catch (const HungUp&) {
    return;
  }
}

void AnswerQuestions(PacedTerminal& line) {
  try {
    while (true) {
      line.Answer(ReadByte(line) == '0' ? "A" : "1\r\n");
    }
  } catch (const HungUp&) {
    return;
  }
}

}  // namespace kvo::bench
