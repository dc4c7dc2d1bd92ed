#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "simulator/BoardTable.h"

namespace kvo::boardsimulator {

// What a receiver makes of a packet 0.
struct PacketZeroJudgement {
  std::optional<std::uint64_t> length;  // of the image in bytes; nothing: the packet is refused
  std::string objection;                // why it is refused
};

// Reads and judges the data field of the packets that carry the number 0 and no block.
class PacketZeroPolicy {
 public:
  PacketZeroPolicy() = default;
  PacketZeroPolicy(const PacketZeroPolicy&) = delete;
  PacketZeroPolicy& operator=(const PacketZeroPolicy&) = delete;
  virtual ~PacketZeroPolicy() = default;

  virtual PacketZeroJudgement Judge(std::span<const std::uint8_t> data) const = 0;
  // Whether this packet 0, in place of a further image, ends the transfer.
  virtual bool IsClosing(std::span<const std::uint8_t> data) const = 0;
};

// The boards' own packet 0, 128 bytes: the length of the image in decimal digits, 0x00 up to and
// including offset 16, and from offset 17 on what the image is for. That is three names (board,
// application, version) in fields of 32 bytes, each ended and filled up with 0x00, or one
// identification text that carries a blank after each 31 characters and has no end of its own.
// The rest is 0x00. The packet that closes a transfer is all
// 0x00. Anything that differs in a single byte is refused.
class BoardPacketZero : public PacketZeroPolicy {
 public:
  // `identification`: the text, without those blanks, that is accepted in place of the names;
  // empty for none.
  BoardPacketZero(BoardNames names, std::string identification);

  PacketZeroJudgement Judge(std::span<const std::uint8_t> data) const override;
  bool IsClosing(std::span<const std::uint8_t> data) const override;

 private:
  std::string ObjectionToNames(std::span<const std::uint8_t> target) const;
  bool IsOwnIdentification(std::span<const std::uint8_t> target) const;

  BoardNames names_;
  std::string identification_;
};

}  // namespace kvo::boardsimulator
