#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulator/AnswerSender.h"
#include "simulator/ByteStream.h"
#include "simulator/PacketReader.h"
#include "simulator/PacketZero.h"
#include "simulator/Trace.h"

namespace kvo::boardsimulator {

struct ReceiverTimes {
  std::chrono::milliseconds ask_interval{1000};  // between two 'C' that ask for packet 0
  std::chrono::milliseconds ask_limit{10'000};   // after which nobody seems to want to send
  std::chrono::milliseconds silence{3000};       // without a byte that ends a transfer
  std::chrono::milliseconds longest_gap{1000};   // between two bytes of one packet
};

enum class ReceptionEnd {
  kComplete,           // the closing packet has been acknowledged
  kNobodySends,        // no packet came
  kSilence,            // the sender fell silent
  kCancelledBySender,  // CAN CAN
  kCancelledByBoard,   // out of sequence, or a fault
};

// The outcome of one attempt to receive an image.
struct Reception {
  ReceptionEnd end = ReceptionEnd::kComplete;
  std::uint32_t blocks = 0;  // accepted
  bool whole = false;        // complete, and exactly as many blocks as the announced length needs
  std::vector<std::uint8_t> image;  // as long as announced, or what arrived of it
};

// The receiving side of YModem with CRC-16, for a single file. Serves one attempt; borrows
// everything it is given. Passes on the line's exceptions.
class YmodemReceiver {
 public:
  YmodemReceiver(ByteStream& stream, const PacketZeroPolicy& policy, AnswerSender& answers,
                 Trace& trace, const ReceiverTimes& times);

  // Asks for packet 0 and receives until the transfer is complete or given up.
  Reception Receive();

 private:
  enum class Stage { kPacketZero, kBlocks, kClosing };

  SenderEvent AskForPacketZero();
  void TakeEvent(const SenderEvent& event);
  void TakePacket(const SenderEvent& packet);
  void TakePacketZero(const SenderEvent& packet);
  void TakeBlock(const SenderEvent& packet);
  void TakeClosing(const SenderEvent& packet);
  void TakeEndOfFile();
  void StoreWhatWasAnnounced(std::span<const std::uint8_t> data);
  void AnswerRepeat();
  void Reject(const std::string& reason);
  void Abort(const std::string& reason);
  bool Answer(const Place& place, std::span<const std::uint8_t> right_answer);
  Reception Result();

  ByteStream& stream_;
  const PacketZeroPolicy& policy_;
  AnswerSender& answers_;
  Trace& trace_;
  ReceiverTimes times_;
  PacketReader reader_;
  Stage stage_ = Stage::kPacketZero;
  std::optional<ReceptionEnd> end_;
  std::uint64_t announced_ = 0;
  std::uint32_t blocks_ = 0;
  std::size_t last_block_size_ = 0;
  std::vector<std::uint8_t> data_;
};

}  // namespace kvo::boardsimulator
