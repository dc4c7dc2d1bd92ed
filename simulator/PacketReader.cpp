#include "simulator/PacketReader.h"

#include <utility>

#include "simulator/Crc16.h"
#include "simulator/YmodemBytes.h"

namespace kvo::boardsimulator {
namespace {

constexpr std::size_t kNumberSize = 2;  // the number and its complement
constexpr std::size_t kCrcSize = 2;

std::size_t DataSize(std::uint8_t first_byte) { return first_byte == kSoh ? 128 : 1024; }

SenderEvent BadPacket(PacketDefect defect) {
  SenderEvent event;
  event.kind = SenderEventKind::kBadPacket;
  event.defect = defect;
  return event;
}

SenderEvent OfKind(SenderEventKind kind) {
  SenderEvent event;
  event.kind = kind;
  return event;
}

// `rest`: all bytes of the packet but the first.
SenderEvent JudgePacket(std::span<const std::uint8_t> rest) {
  if ((rest[0] ^ rest[1]) != 0xFF) {
    return BadPacket(PacketDefect::kWrongComplement);
  }
  const auto data = rest.subspan(kNumberSize, rest.size() - kNumberSize - kCrcSize);
  const auto crc = rest.last(kCrcSize);
  const unsigned int sent_crc = static_cast<unsigned int>(crc[0]) * 256U + crc[1];
  if (sent_crc != Crc16(data)) {
    return BadPacket(PacketDefect::kWrongChecksum);
  }
  SenderEvent event = OfKind(SenderEventKind::kPacket);
  event.number = rest[0];
  event.data.assign(data.begin(), data.end());
  return event;
}

}  // namespace

SenderEvent PacketReader::Next(TimePoint until) {
  const auto byte = stream_.ReadByte(until);
  if (!byte) {
    return OfKind(SenderEventKind::kNothing);
  }
  if (*byte == kCan) {
    return JudgeCancel();
  }
  cancel_began_ = false;
  if (*byte == kSoh || *byte == kStx) {
    return ReadPacketAfter(*byte);
  }
  return OfKind(*byte == kEot ? SenderEventKind::kEndOfFile : SenderEventKind::kNoise);
}

SenderEvent PacketReader::JudgeCancel() {
  if (!std::exchange(cancel_began_, true)) {
    return OfKind(SenderEventKind::kNoise);
  }
  cancel_began_ = false;
  return OfKind(SenderEventKind::kCancel);
}

SenderEvent PacketReader::ReadPacketAfter(std::uint8_t first_byte) {
  std::vector<std::uint8_t> rest(kNumberSize + DataSize(first_byte) + kCrcSize);
  for (std::uint8_t& place : rest) {
    const auto byte = stream_.ReadByte(stream_.Now() + longest_gap_);
    if (!byte) {
      return BadPacket(PacketDefect::kCutShort);
    }
    place = *byte;
  }
  return JudgePacket(rest);
}

}  // namespace kvo::boardsimulator
