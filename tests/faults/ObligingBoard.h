#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "support/UnaskedPort.h"

namespace kvo::bootloadertms::testing {

// A board at the end of an ideal line, seen as the host's port: it takes each byte at once and
// answers it at once and rightly. It answers whatever it is sent a second time, too, and asks once
// where real boards ask again and again. Nothing but a byte that is written makes it speak; a read
// that finds nothing is a time-out.
//
// Once made it allocates nothing but the text that `Read` gives away.
class ObligingBoard : public UnaskedPort {
 public:
  enum class Program { kBootloader, kApplication };

  // The board confirms an upload when `image` has arrived whole, filled up with 0xFF to the end of
  // its last block, and refuses it otherwise.
  explicit ObligingBoard(Program program, std::string_view image = "");

  // As after a new start: nothing received, nothing to say.
  void Restart(Program program);

  // Whether an image has been confirmed since the start.
  bool HasConfirmed() const;

  // Whether there is something to read.
  bool HasAnswer() const;

  void Read(std::string& data) override;
  void WriteByte(std::uint8_t byte) override;
  std::uint8_t ReadByte() override;
  int FlushInput() override;

 private:
  void Say(std::string_view answer);
  void TakeRequest(std::uint8_t request);
  bool TakeControlByte(std::uint8_t byte);
  void TakeTransferByte(std::uint8_t byte);
  void TakePacket();
  void TakePacketZero();
  void TakeBlock();
  bool IsIntact() const;
  void GiveVerdict();

  Program program_;
  std::size_t length_;
  std::string expected_;
  std::string received_;
  bool receiving_ = false;
  bool ended_ = false;
  bool confirmed_ = false;
  bool length_is_right_ = false;
  std::array<std::uint8_t, 1029> packet_{};
  std::size_t packet_length_ = 0;
  std::array<std::string_view, 256> answers_{};  // what doesn't fit in is lost
  std::size_t first_answer_ = 0;
  std::size_t answer_count_ = 0;
};

}  // namespace kvo::bootloadertms::testing
