#include "faults/ObligingBoard.h"

#include <cstdlib>
#include <span>

#include "simulator/Crc16.h"

namespace kvo::bootloadertms::testing {

namespace {

using namespace std::string_view_literals;
using Program = ObligingBoard::Program;

constexpr std::uint8_t kSoh = 0x01;
constexpr std::uint8_t kStx = 0x02;
constexpr std::uint8_t kEot = 0x04;
constexpr std::uint8_t kCan = 0x18;
constexpr std::string_view kAck = "\x06";
constexpr std::string_view kNak = "\x15";

constexpr std::size_t kBlockSize = 1024;
constexpr std::size_t kFrameSize = 5;  // header, number, its complement, two bytes of CRC

struct Answer {
  Program program;
  std::uint8_t request;
  std::string_view text;  // of one read; several rows are several reads
};

constexpr std::array kAnswers = {
    Answer{Program::kBootloader, '0', "A"},
    Answer{Program::kBootloader, '7', "the hardware is of revision 1\r\n"},
    Answer{Program::kBootloader, 's', "s of a bootloader\r\n"},
    Answer{Program::kBootloader, 'h', "h of a bootloader\r\n"},
    Answer{Program::kBootloader, 'p', "p of a bootloader\r\n"},
    Answer{Program::kBootloader, 'V', "V of a bootloader\r\n"},
    Answer{Program::kBootloader, 'v', "v of a bootloader\r\n"},
    Answer{Program::kApplication, '0', "ping_callback_function\r\n"},
    Answer{Program::kApplication, 'K', "KVO_CMD_CALIBRATE\r\n"},
    Answer{Program::kApplication, 'K', "calibration is half done\r\n"},
    Answer{Program::kApplication, 'K', "---\r\n"},
    Answer{Program::kApplication, 'b', "the boot was safe\r\n"},
    Answer{Program::kApplication, 's', "s of an application\r\n"},
    Answer{Program::kApplication, 'h', "h of an application\r\n"},
    Answer{Program::kApplication, 'p', "p of an application\r\n"},
    Answer{Program::kApplication, 'V', "V of an application\r\n"},
    Answer{Program::kApplication, 'v', "v of an application\r\n"},
};

std::string FilledUp(std::string_view image) {
  std::string filled(image);
  filled.resize((image.size() + kBlockSize - 1) / kBlockSize * kBlockSize, '\xFF');
  return filled;
}

}  // namespace

ObligingBoard::ObligingBoard(Program program, std::string_view image)
    : program_(program), length_(image.size()), expected_(FilledUp(image)) {
  received_.reserve(expected_.size() + kBlockSize);
}

void ObligingBoard::Restart(Program program) {
  program_ = program;
  received_.clear();
  receiving_ = ended_ = confirmed_ = length_is_right_ = false;
  packet_length_ = answer_count_ = 0;
}

bool ObligingBoard::HasConfirmed() const { return confirmed_; }

bool ObligingBoard::HasAnswer() const { return answer_count_ > 0; }

void ObligingBoard::Read(std::string& data) {
  data.clear();
  if (!HasAnswer()) {
    return;
  }
  const std::string_view answer = answers_.at(first_answer_);
  ++first_answer_;
  first_answer_ %= answers_.size();
  --answer_count_;
  data.reserve(answer.size() + 1);
  data.append(answer).push_back('\0');
}

void ObligingBoard::WriteByte(std::uint8_t byte) {
  if (receiving_) {
    TakeTransferByte(byte);
  } else {
    TakeRequest(byte);
  }
}

std::uint8_t ObligingBoard::ReadByte() {
  if (!HasAnswer()) {
    return 0x00;
  }
  std::string_view& answer = answers_.at(first_answer_);
  const auto byte = static_cast<std::uint8_t>(answer.front());
  answer.remove_prefix(1);
  if (answer.empty()) {
    ++first_answer_;
    first_answer_ %= answers_.size();
    --answer_count_;
  }
  return byte;
}

int ObligingBoard::FlushInput() {
  answer_count_ = 0;
  return 0;
}

void ObligingBoard::Say(std::string_view answer) {
  if (answer_count_ < answers_.size()) {
    answers_.at((first_answer_ + answer_count_) % answers_.size()) = answer;
    ++answer_count_;
  }
}

void ObligingBoard::TakeRequest(std::uint8_t request) {
  for (const Answer& answer : kAnswers) {
    if (answer.program == program_ && answer.request == request) {
      Say(answer.text);
    }
  }
  if (program_ == Program::kApplication) {
    program_ = request == 'Q' ? Program::kBootloader : program_;
  } else if (request == '6') {
    program_ = Program::kApplication;
  } else if (request == '1') {
    receiving_ = true;
    Say("C");
  }
}

void ObligingBoard::TakeTransferByte(std::uint8_t byte) {
  if (packet_length_ == 0 && TakeControlByte(byte)) {
    return;
  }
  packet_.at(packet_length_) = byte;
  ++packet_length_;
  const std::size_t data_size = packet_.front() == kSoh ? 128 : kBlockSize;
  if (packet_length_ == data_size + kFrameSize) {
    TakePacket();
    packet_length_ = 0;
  }
}

// Whether the byte is none that heads a packet.
bool ObligingBoard::TakeControlByte(std::uint8_t byte) {
  if (byte == kEot) {
    ended_ = true;
    Say(kAck);
    Say("C");
  } else if (byte == kCan) {
    receiving_ = false;
  }
  return byte != kSoh && byte != kStx;
}

void ObligingBoard::TakePacket() {
  if (!IsIntact()) {
    Say(kNak);
  } else if (packet_.front() == kStx) {
    TakeBlock();
  } else if (ended_) {
    Say(kAck);
    GiveVerdict();
  } else {
    TakePacketZero();
  }
}

void ObligingBoard::TakePacketZero() {
  const auto* const digits = reinterpret_cast<const char*>(packet_.data() + 3);
  length_is_right_ = std::strtoul(digits, nullptr, 10) == length_;
  Say(kAck);
  Say("C");
}

void ObligingBoard::TakeBlock() {
  const std::size_t next = received_.size() / kBlockSize + 1;
  if (packet_.at(1) == next && received_.size() < expected_.size()) {
    received_.append(reinterpret_cast<const char*>(packet_.data() + 3), kBlockSize);
  }
  Say(kAck);
}

bool ObligingBoard::IsIntact() const {
  const std::span<const std::uint8_t> data(packet_.data() + 3, packet_length_ - kFrameSize);
  const std::uint16_t crc = boardsimulator::Crc16(data);
  return packet_.at(1) + packet_.at(2) == 0xFF && packet_.at(packet_length_ - 2) == crc >> 8 &&
         packet_.at(packet_length_ - 1) == (crc & 0xFF);
}

void ObligingBoard::GiveVerdict() {
  confirmed_ = length_is_right_ && received_ == expected_;
  Say(confirmed_ ? "O" : "E");
}

}  // namespace kvo::bootloadertms::testing
