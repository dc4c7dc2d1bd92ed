#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>

#include "boards/BoardStatus.h"
#include "boards/ports/PortDecorator.h"

namespace kvo::boards {

// A transfer that the library would go on with indefinitely, and that makes no sense any more.
class HopelessTransfer : public std::runtime_error {
 public:
  HopelessTransfer() : std::runtime_error("the board doesn't end the transfer") {}
};

// Follows a transfer by the bytes of both directions, so that its end can be told: where it was,
// and what the board answered last. The library tells only that it failed.
//
// A board that answers the closing packet by CAN or ten times wrongly, or leaves it unanswered for
// five seconds, is left by `HopelessTransfer`; one that asks for it again gets it.
class TransferWatch : public PortDecorator {
 public:
  // In the order of a transfer.
  enum class Stage {
    kNone,
    kStart,       // the board is to ask for packet 0
    kPacketZero,  // it is to accept it
    kBlocks,
    kEnd,      // EOT is to be accepted
    kNext,     // the board is to ask for another file
    kClosing,  // the empty packet is to be accepted
    kVerdict,
    kOver,  // the verdict is there
  };

  struct Position {
    std::uint32_t block;
    std::uint32_t blocks;
    std::uint64_t bytes_sent;
  };

  // `has_read` tells of the port's last `ReadByte` whether it got a byte; `on_progress` is called
  // for each block that the board has accepted.
  TransferWatch(ISerialPort& port, std::uint64_t image_bytes, std::function<bool()> has_read,
                std::function<void()> on_progress);

  void WriteByte(std::uint8_t byte) override;
  std::uint8_t ReadByte() override;

  // These may be asked from a signal handler.
  bool IsInTransfer() const { return stage_ != Stage::kNone && stage_ != Stage::kOver; }
  Position GetPosition() const;

  Stage GetStage() const { return stage_; }
  // The board's last answer; none: nothing came in time.
  std::optional<std::uint8_t> GetAnswer() const { return answer_; }
  // Whether CAN was sent in the transfer.
  bool IsCancelled() const { return cancelled_; }
  // From the first block to the verdict.
  std::chrono::duration<double> GetTransferTime() const { return verdict_came_ - blocks_began_; }

 private:
  void Follow(std::uint8_t byte);
  void BeginPacket(std::uint8_t header);
  void TakeNumber(std::uint8_t number);
  void TakeAnswer();
  void TakeClosingAnswer();

  std::uint64_t image_bytes_;
  std::uint32_t blocks_;
  std::function<bool()> has_read_;
  std::function<void()> on_progress_;

  Stage stage_ = Stage::kNone;
  bool is_number_next_ = false;  // of a packet, whose first byte was sent
  std::size_t after_number_ = 0;
  std::size_t ignored_ = 0;  // so many bytes of the packet are still to be sent, and tell nothing
  std::uint32_t block_ = 0;
  std::uint64_t bytes_sent_ = 0;
  int wrong_closing_answers_ = 0;
  Clock::time_point silent_since_;  // after the closing packet
  std::optional<std::uint8_t> answer_;
  bool cancelled_ = false;
  Clock::time_point blocks_began_;
  Clock::time_point verdict_came_;
};

}  // namespace kvo::boards
