#pragma once

#include <vector>

#include "simulator/ByteStream.h"

namespace kvo::boardsimulator {

enum class SenderEventKind {
  kPacket,     // a sound packet
  kBadPacket,  // see SenderEvent::defect
  kEndOfFile,  // EOT
  kCancel,     // CAN twice in a row
  kNoise,      // a byte that starts nothing
  kNothing,    // the deadline passed
};

enum class PacketDefect { kNone, kCutShort, kWrongComplement, kWrongChecksum };

struct SenderEvent {
  SenderEventKind kind = SenderEventKind::kNothing;
  PacketDefect defect = PacketDefect::kNone;
  std::uint8_t number = 0;         // of a sound packet
  std::vector<std::uint8_t> data;  // of a sound packet, 128 or 1024 bytes
};

// Reads what a YModem sender says, one event at a time. Borrows the stream.
class PacketReader {
 public:
  // A packet whose next byte is later than `longest_gap` counts as cut short.
  PacketReader(ByteStream& stream, std::chrono::milliseconds longest_gap)
      : stream_(stream), longest_gap_(longest_gap) {}

  // Waits for the next event, which must begin before `until`.
  SenderEvent Next(TimePoint until);

  // Reads a packet whose first byte, SOH or STX, has been read already.
  SenderEvent ReadPacketAfter(std::uint8_t first_byte);

 private:
  SenderEvent JudgeCancel();

  ByteStream& stream_;
  std::chrono::milliseconds longest_gap_;
  bool cancel_began_ = false;
};

}  // namespace kvo::boardsimulator
