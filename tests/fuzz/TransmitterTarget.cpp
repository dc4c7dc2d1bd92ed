// The YModem sender against a receiver that answers anything.
//
// Input: options (bit 0: a record instead of a board, bit 1: no file name, bits 2 and 3 both: a
// long image, bits 4 to 7: the board's kind), two bytes of the image's length, a byte that its
// content is made of, the record's three counted texts; then the receiver's answers.
#include <optional>
#include <stdexcept>
#include <vector>

#include "fuzz/Line.h"
#include "support/Output.h"
#include "tables/TransferModel.h"
#include "transfer/YmodemSender.h"

namespace {

using kvo::bootloadertms::AppInfos;
using kvo::bootloadertms::BoardDefinition;
using kvo::bootloadertms::BoardKind;
using kvo::bootloadertms::ISerialPort;
using kvo::bootloadertms::YmodemSender;
using namespace kvo::bootloadertms::testing;

enum class Result { kSent, kFailed, kPacketZeroTooLong, kEndedFromOutside };

struct Transfer {
  bool has_record;
  std::string file_name;
  std::uint8_t kind;
  std::vector<std::string> record;
  std::string image;
};

// Most images are short, as time goes into them.
std::size_t LengthOf(std::uint16_t value, bool is_long) {
  constexpr std::size_t kShort = 5'000;
  return is_long ? std::size_t{value} * 8 : value % kShort;
}

std::string ImageOf(std::size_t length, std::uint8_t seed) {
  std::string image(length, '\0');
  for (std::size_t i = 0; i < length; ++i) {
    image[i] = static_cast<char>(i * seed + i / 256);
  }
  return image;
}

Transfer TakeTransfer(FuzzInput& input) {
  const std::uint8_t options = input.TakeByte();
  const std::size_t length = LengthOf(input.TakeWord(), (options & 12U) == 12U);
  std::string image = ImageOf(length, input.TakeByte());
  const bool has_record = (options & 1U) != 0;
  std::vector<std::string> texts(3);
  for (std::string& text : texts) {
    text = has_record ? input.TakeCountedText() : "";
  }
  return {.has_record = has_record,
          .file_name = (options & 2U) != 0 ? "" : "fw.bin",
          .kind = static_cast<std::uint8_t>(options >> 4U),
          .record = std::move(texts),
          .image = std::move(image)};
}

Board BoardOfKind(int kind) {
  for (const Board& board : Boards()) {
    if (board.kind == kind) {
      return board;
    }
  }
  return {kind, "", "BOARD UNKNOWN", "BOARD UNKNOWN", "BOARD UNKNOWN"};
}

std::optional<std::string> PacketZeroOf(const Transfer& transfer) {
  if (transfer.file_name.empty()) {
    return std::string(128, '\0');
  }
  if (transfer.has_record) {
    return PacketZeroOfRecord(transfer.image.size(), transfer.record[0], transfer.record[1],
                              transfer.record[2]);
  }
  return PacketZeroOfBoard(transfer.image.size(), BoardOfKind(transfer.kind));
}

// The image in memory that ends where the sender's right to read ends.
std::vector<std::uint8_t> WholeBlocks(const std::string& image) {
  std::vector<std::uint8_t> blocks(image.begin(), image.end());
  blocks.resize((image.size() + 1023) / 1024 * 1024, 0xFF);
  return blocks;
}

// What was told of the progress.
class Progress {
 public:
  void Report(bool failed, double fraction) {
    Require(!failed_, "nothing is told after a failure");
    Require(fraction >= fraction_ && fraction <= 1.0, "progress goes from 0 to 1");
    failed_ = failed;
    fraction_ = fraction;
  }
  bool HasFailed() const { return failed_; }
  bool IsComplete() const { return !failed_ && fraction_ == 1.0; }

 private:
  bool failed_ = false;
  double fraction_ = 0.0;
};

int Transmit(YmodemSender& sender, ISerialPort& port, const Transfer& transfer) {
  const std::vector<std::uint8_t> blocks = WholeBlocks(transfer.image);
  const auto length = static_cast<std::uint32_t>(transfer.image.size());
  if (transfer.has_record) {
    const std::vector<std::string>& texts = transfer.record;
    return sender.Ymodem_Transmit(port, blocks.data(), transfer.file_name, length,
                                  AppInfos(texts[0], texts[1], texts[2]));
  }
  return sender.Ymodem_Transmit(port, blocks.data(), transfer.file_name, length,
                                BoardDefinition(static_cast<BoardKind>(transfer.kind)));
}

Result Send(const Transfer& transfer, Line& line, Progress& progress) {
  PortOnLine port(line);
  YmodemSender sender;
  sender.SetProgressCallback(
      [&progress](bool failed, double fraction) { progress.Report(failed, fraction); });
  try {
    const int failed = Transmit(sender, port, transfer);
    Require(failed == 0 || failed == 1, "the result is 0 or 1");
    return failed == 0 ? Result::kSent : Result::kFailed;
  } catch (const std::runtime_error& error) {
    Require(error.what() == std::string("Exceed size limit detected. Exiting"), "the one text");
    return Result::kPacketZeroTooLong;
  } catch (const EndOfRun&) {
    return Result::kEndedFromOutside;
  }
}

Result Expected(const Transfer& transfer, Line& line) {
  TransferModel model(PacketZeroOf(transfer), transfer.image);
  try {
    model.Play(line);
  } catch (const EndOfRun&) {
    return Result::kEndedFromOutside;
  }
  switch (model.GetState()) {
    case TransferModel::State::kVerdict:
      return Result::kSent;
    case TransferModel::State::kPacketZeroTooLong:
      return Result::kPacketZeroTooLong;
    default:
      return Result::kFailed;
  }
}

// What a receiver makes of a record: the data of each block that it has acknowledged. Ends the
// process when a packet is not well-formed or not next.
std::string DataAcknowledged(const std::string& record) {
  std::string data;
  std::string packet;
  std::size_t number = 1;
  for (std::size_t i = 0; i + 1 < record.size(); i += 2) {  // a last read has no answer
    const char value = record.at(i + 1);
    if (record[i] == 'w') {
      packet += value;
      continue;
    }
    if (value == '\x06' && !packet.empty() && packet.front() == '\x02') {
      Require(packet.size() == 1029, "a block is 1029 bytes long");
      data += packet.substr(3, 1024);
      Require(packet == PacketOf(number, packet.substr(3, 1024)), "the block is the next");
      ++number;
    }
    packet.clear();
  }
  return data;
}

void CheckTransfer(const Transfer& transfer, const FuzzInput& answers) {
  Line line(answers);
  Progress progress;
  const Result result = Send(transfer, line, progress);
  Line expected_line(answers);
  const Result expected = Expected(transfer, expected_line);

  Require(line.Record() == expected_line.Record(), "the dialogue is the model's");
  Require(result == expected, "the result is the model's");
  const std::string received = DataAcknowledged(line.Record());
  Require(transfer.image.compare(0, received.size(), received, 0, transfer.image.size()) == 0,
          "what is acknowledged is the image's beginning");
  if (result == Result::kSent) {
    Require(received.size() >= transfer.image.size(), "all is acknowledged after a success");
    Require(progress.IsComplete(), "success is told");
  } else {
    Require(!progress.HasFailed() || result == Result::kFailed, "only a failure is told as one");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const RunLimit limit;
  const SilencedOutput silence;
  FuzzInput input(data, size);
  try {
    const Transfer transfer = TakeTransfer(input);
    CheckTransfer(transfer, input);
  } catch (const EndOfRun&) {
    return 0;  // nothing to check
  }
  return 0;
}
