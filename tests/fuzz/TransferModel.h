#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/Line.h"

namespace kvo::bootloadertms::testing {

// How docs/protocol.md says that an image is to go over the line, apart from the code that does it.

// The data field of packet 0 for a board.
std::string PacketZeroOfBoard(std::uint32_t length, const std::string& board,
                              const std::string& application, const std::string& version);

// The same for the three texts of a record; nothing when they don't fit.
std::optional<std::string> PacketZeroOfRecord(std::uint32_t length, const std::string& f1,
                                              const std::string& f2, const std::string& f3);

class TransferModel {
 public:
  enum class Result { kSent, kFailed, kPacketZeroTooLong };

  // `packet_zero` is packet 0's data field.
  TransferModel(std::optional<std::string> packet_zero, const std::string& image);

  // Plays the host's part from the wait for the receiver on, up to the verdict.
  Result Play(Line& line);

 private:
  enum class State {
    kWaiting,
    kPacketZero,
    kPacketZeroTaken,
    kBlock,
    kEndOfFile,
    kEndOfFileTaken,
    kClosingPacket,
    kGivenUp,
    kFailed,
    kSent,
  };

  std::string Sends(State state) const;
  State Next(State state, std::uint8_t answer);
  State AfterPacketZero(std::uint8_t answer);
  State AfterBlock(std::uint8_t answer);
  State BlockOrEnd() const;

  std::optional<std::string> packet_zero_;
  std::vector<std::string> blocks_;  // each filled up with 0xFF
  std::size_t block_ = 0;
  bool asked_again_ = false;
};

// What a receiver makes of a record that ends in success: the data of each block that it has
// acknowledged. Ends the process when a packet is not well-formed or not next.
std::string DataAcknowledged(const std::string& record);

}  // namespace kvo::bootloadertms::testing
