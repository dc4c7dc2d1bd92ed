#include "transfer/YmodemSender.h"

#include <algorithm>
#include <iostream>
#include <string>
#include <utility>

#include "client/TargetProtocol.h"
#include "transfer/Crc16.h"
#include "transfer/YmodemProtocol.h"

namespace kvo::bootloadertms {

namespace {

enum class PacketAnswer { kAccepted, kSendAgain, kRefused };

// Deliberate: only the first block has quiet resends, and no number of NAKs to a block ends it all.
constexpr int kQuietResendsOfFirstBlock = 4;

void SendPacket(ISerialPort& port, std::uint32_t number, const std::uint8_t* data) {
  const bool is_packet_zero = number == 0;
  const auto number_byte = static_cast<std::uint8_t>(number);
  port.WriteByte(is_packet_zero ? ymodem::kSoh : ymodem::kStx);
  port.WriteByte(number_byte);
  port.WriteByte(static_cast<std::uint8_t>(~number_byte));

  const std::size_t size = is_packet_zero ? ymodem::kPacketZeroSize : ymodem::kBlockSize;
  std::uint16_t crc = kCrc16Initial;
  for (std::size_t i = 0; i < size; ++i) {
    port.WriteByte(data[i]);
    crc = UpdateCrc16(crc, data[i]);  // after the byte, so that the line doesn't wait for it
  }
  port.WriteByte(static_cast<std::uint8_t>(crc >> 8));
  port.WriteByte(static_cast<std::uint8_t>(crc));
}

// The texts of the trace are what scripts know, French, blanks and all.

// False when the bootloader says that it can't receive.
// Deliberate: waits indefinitely.
bool WaitForStart(ISerialPort& port) {
  std::uint8_t byte = port.ReadByte();
  while (byte != ymodem::kCrcRequest) {
    if (byte == ymodem::kReceiveFailed) {
      std::cout << " Command failed received \n";
      return false;
    }
    byte = port.ReadByte();
  }
  std::cout << " CRC recu du receiver \n";
  return true;
}

void PrintPacketZero(const PacketZeroData& data) {
  std::string text(data.begin(), data.end());
  std::ranges::replace(text, '\0', '.');
  std::cout << "PACKET 0 :\n" << text;
}

// `first_crc_request` is true until the receiver has asked for packet 0 a second time.
PacketAnswer ReadPacketZeroAnswer(ISerialPort& port, bool& first_crc_request) {
  switch (port.ReadByte()) {
    case ymodem::kAck:
      std::cout << " Ymodem_Transmit : ACK apres packet 0\n";
      if (port.ReadByte() != ymodem::kCrcRequest) {
        return PacketAnswer::kSendAgain;
      }
      std::cout << " Ymodem_Transmit : CRC apres ACK\n";
      return PacketAnswer::kAccepted;
    case ymodem::kCrcRequest:
      if (!first_crc_request) {
        return PacketAnswer::kRefused;
      }
      std::cout << " Ymodem_Transmit : PREMIER CRC apres envoie Packet 0\n";
      first_crc_request = false;
      return PacketAnswer::kSendAgain;
    case ymodem::kNak:  // Deliberate: gives up, unless packet 0 was asked for a second time.
      return first_crc_request ? PacketAnswer::kRefused : PacketAnswer::kSendAgain;
    default:
      return PacketAnswer::kRefused;
  }
}

void GiveUp(ISerialPort& port) {
  std::cout << " ni ACK ni CRC ni NACK -- exit\n";
  port.WriteByte(target::kCancel);
  port.WriteByte(target::kCancel);
}

PacketAnswer ReadBlockAnswer(ISerialPort& port, std::uint32_t number) {
  switch (port.ReadByte()) {
    case ymodem::kAck:
      return PacketAnswer::kAccepted;
    case ymodem::kNak:
      std::cout << "NACK SendDataPacket " << number << "\n";
      return PacketAnswer::kSendAgain;
    case ymodem::kCrcRequest:
      std::cout << "CRC SendDataPacket " << number << "\n";
      return PacketAnswer::kSendAgain;
    case target::kCancel:
      std::cout << "CAN SendDataPacket " << number << "\n";
      return PacketAnswer::kRefused;
    default:
      std::cout << "UNKNOWN SendDataPacket " << number << "\n";
      return PacketAnswer::kRefused;
  }
}

// Deliberate: the empty packet 0 that closes the batch goes out until it is acknowledged.
void CloseBatch(ISerialPort& port) {
  if (port.ReadByte() != ymodem::kCrcRequest) {
    return;
  }
  const PacketZeroData empty{};
  do {
    SendPacket(port, 0, empty.data());
  } while (port.ReadByte() != ymodem::kAck);
}

}  // namespace

void YmodemSender::SetProgressCallback(TransferProgress progress) {
  progress_ = std::move(progress);
}

int YmodemSender::Ymodem_Transmit(ISerialPort& port, const std::uint8_t* image,
                                  const std::string& file_name, std::uint32_t length,
                                  const BoardDefinition& board) {
  return Transmit(port, image, length, [&] {
    return file_name.empty() ? PacketZeroData{} : BuildPacketZero(length, board);
  });
}

int YmodemSender::Ymodem_Transmit(ISerialPort& port, const std::uint8_t* image,
                                  const std::string& file_name, std::uint32_t length,
                                  const AppInfos& infos) {
  return Transmit(port, image, length, [&] {
    return file_name.empty() ? PacketZeroData{} : BuildPacketZero(length, infos);
  });
}

int YmodemSender::Transmit(ISerialPort& port, const std::uint8_t* image, std::uint32_t length,
                           const PacketZeroBuilder& build_packet_zero) {
  if (!WaitForStart(port)) {
    return 1;
  }
  bool first_crc_request = true;
  PacketAnswer answer = PacketAnswer::kSendAgain;
  while (answer == PacketAnswer::kSendAgain) {
    const PacketZeroData packet_zero = build_packet_zero();
    PrintPacketZero(packet_zero);
    SendPacket(port, 0, packet_zero.data());
    std::cout << " packet 0 EST envoye \n";
    answer = ReadPacketZeroAnswer(port, first_crc_request);
  }
  if (answer == PacketAnswer::kRefused) {
    GiveUp(port);
    return 1;
  }
  return SendDataPacket(port, image, length) == 1 ? 0 : 1;
}

int YmodemSender::SendDataPacket(ISerialPort& port, const std::uint8_t* image,
                                 std::uint32_t length) {
  Report(false, 0.0);
  if (!SendBlocks(port, image, length) || !SendEndOfFile(port)) {
    return 0;
  }
  CloseBatch(port);
  std::cout << "\nSendDataPacket n°0 : EOT packet send \n";
  Report(false, 1.0);
  return 1;
}

bool YmodemSender::SendBlocks(ISerialPort& port, const std::uint8_t* image, std::uint32_t length) {
  const double total = (length >> 10) + 3;
  int quiet_resends = kQuietResendsOfFirstBlock;
  std::uint32_t remaining = length;
  std::uint32_t number = 1;
  while (remaining > 0) {
    SendPacket(port, number, image);
    switch (ReadBlockAnswer(port, number)) {
      case PacketAnswer::kAccepted: {
        const auto sent = std::min<std::uint32_t>(remaining, ymodem::kBlockSize);
        image += sent;
        remaining -= sent;
        ++number;
        quiet_resends = 0;
        std::cout << "." << std::flush;
        Report(false, number / total);
        break;
      }
      case PacketAnswer::kSendAgain:
        if (quiet_resends > 0) {
          --quiet_resends;
        } else {
          std::cout << std::flush;
          Report(false, number / total);
        }
        break;
      case PacketAnswer::kRefused:
        Report(true, number / total);
        return false;
    }
  }
  return true;
}

bool YmodemSender::SendEndOfFile(ISerialPort& port) {
  // Deliberate: as often as it is refused.
  std::uint8_t answer = ymodem::kNak;
  while (answer == ymodem::kNak) {
    port.WriteByte(ymodem::kEot);
    answer = port.ReadByte();
  }
  if (answer != ymodem::kAck) {
    Report(true, 1.0);
    return false;
  }
  return true;
}

void YmodemSender::Report(bool failed, double fraction) const {
  if (progress_) {
    progress_(failed, fraction);
  }
}

}  // namespace kvo::bootloadertms
