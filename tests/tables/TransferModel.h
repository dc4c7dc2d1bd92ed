#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "tables/Boards.h"
#include "tables/Wire.h"

namespace kvo::bootloadertms::testing {

// How docs/protocol.md says that an image goes over the line. Written from that page and from
// nothing else, with a CRC of its own.

// The data field of packet 0 for a board.
std::string PacketZeroOfBoard(std::size_t length, const Board& board);

// The same for the three texts of a record; nothing when they don't fit.
std::optional<std::string> PacketZeroOfRecord(std::size_t length, const std::string& f1,
                                              const std::string& f2, const std::string& f3);

// A whole packet: 128 bytes of data make a short one, 1024 a long one.
std::string PacketOf(std::size_t number, const std::string& data);

// The host's part of the dialogue: which answer makes it send what.
class TransferModel {
 public:
  // What the host waits for.
  enum class State {
    kStart,         // the board's first 'C'
    kZero,          // the answer to packet 0
    kZeroAsked,     // the same, after a 'C' was one
    kGoAhead,       // the 'C' after the ACK of packet 0
    kGoAheadAsked,  // the same, after a 'C' was an answer to packet 0
    kBlock,         // the answer to a block
    kEndOfFile,     // the answer to EOT
    kNextFile,      // the 'C' after the ACK of EOT
    kClosing,       // the answer to the closing packet
    kVerdict,
    // And the ends.
    kAccepted,
    kRefused,
    kFailed,
    kCancelled,  // failed, too, after two CAN
    kPacketZeroTooLong,
    // In the table only: sends the next block and becomes `kBlock`, or `kEndOfFile` after the last.
    kNextBlock,
  };

  // `packet_zero` is packet 0's data field.
  TransferModel(std::optional<std::string> packet_zero, const std::string& image);

  // Back to the beginning: the host has yet to send the receive command.
  void Restart();

  // What the host sends before it reads again, or ends.
  const std::string& ToSend() const { return to_send_; }

  void Take(std::uint8_t answer);

  State GetState() const { return state_; }
  bool HasEnded() const { return state_ > State::kVerdict; }

  // Plays the host's part after the receive command: up to the wait for the verdict, or to an end.
  void Play(Wire& wire);

 private:
  std::string SentOnEntering(State state) const;

  std::optional<std::string> packet_zero_;
  std::string blocks_;     // filled up with 0xFF
  std::size_t block_ = 0;  // that is on its way, from 1
  State state_ = State::kStart;
  std::string to_send_ = "1";
};

}  // namespace kvo::bootloadertms::testing
