#pragma once

#include <chrono>
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

  // The two differ in the closing packet, and in whether a transfer that fails is cancelled.
  enum class Host { kUtility, kBoards };

  // How long a host waits for an answer; the model of kvo-boards counts by it.
  static constexpr std::chrono::milliseconds kAnswerTimeout{200};

  // `packet_zero` is packet 0's data field.
  TransferModel(std::optional<std::string> packet_zero, const std::string& image,
                Host host = Host::kUtility);

  // Back to the beginning: the host has yet to send the receive command.
  void Restart();

  // What the host sends before it reads again, or ends.
  const std::string& ToSend() const { return to_send_; }

  // Nothing: none came in time.
  void Take(std::optional<std::uint8_t> answer);

  State GetState() const { return state_; }
  bool HasEnded() const { return state_ > State::kVerdict; }

  // Plays the host's part after the receive command: up to the wait for the verdict, or to an end.
  void Play(Wire& wire);

 private:
  State AsKvoBoardsHasIt(State before, std::optional<std::uint8_t> answer, State after);
  State AfterClosing(std::optional<std::uint8_t> answer);
  std::string SentOnEntering(State state) const;

  const Host host_;
  std::optional<std::string> packet_zero_;
  std::string blocks_;     // filled up with 0xFF
  std::size_t block_ = 0;  // that is on its way, from 1
  State state_ = State::kStart;
  int wrong_answers_ = 0;                 // to the closing packet
  std::chrono::milliseconds silence_{0};  // after it
  std::string to_send_ = "1";
};

}  // namespace kvo::bootloadertms::testing
