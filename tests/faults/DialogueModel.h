#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kvo::bootloadertms::testing {

// What docs/protocol.md says of the transfer of an image, as a table: which answer makes the host
// send what. Written from that page and from nothing else.
class DialogueModel {
 public:
  // What the host waits for.
  enum class State {
    kStart,            // the board's first 'C'
    kPacketZero,       // the answer to packet 0
    kPacketZeroAsked,  // the same, after a 'C' was one
    kGoAhead,          // the 'C' behind the ACK of packet 0
    kGoAheadAsked,     // the same, after a 'C' was an answer to packet 0
    kBlock,            // the answer to a block
    kEndOfFile,        // the answer to EOT
    kClosingWish,      // the 'C' behind the ACK of EOT
    kClosing,          // the answer to the closing packet
    kVerdict,
    // And the ends.
    kAccepted,
    kTransmitFailed,
    kRefused,
  };

  // Whole packets, as they go out.
  DialogueModel(std::string packet_zero, std::vector<std::string> blocks);

  // Back to the beginning: the host has yet to send the receive command.
  void Restart();

  // What the host sends before it reads again, or ends.
  const std::string& ToSend() const;

  void Take(std::uint8_t answer);

  State GetState() const;
  bool HasEnded() const;

 private:
  const std::string packet_zero_;
  const std::vector<std::string> blocks_;
  State state_ = State::kStart;
  std::size_t block_ = 0;  // that is on its way, from 1
  const std::string* to_send_;
};

}  // namespace kvo::bootloadertms::testing
