#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "client/AppInfos.h"
#include "client/TransferProgress.h"
#include "serial/ISerialPort.h"
#include "transfer/BoardDefinition.h"
#include "transfer/PacketZero.h"

namespace kvo::bootloadertms {

// Sends an image in memory to a bootloader that was told to receive: YModem with 1024-byte blocks
// and CRC-16, and a packet 0 of this system's own (docs/protocol.md). Each byte is handed to the
// port by itself. One object serves one transfer; it borrows port and image for the call.
//
// A trace goes to standard output. What the port throws passes through, and leaves the receiver
// where it is.
class YmodemSender {
 public:
  YmodemSender() = default;
  YmodemSender(const YmodemSender&) = delete;
  YmodemSender& operator=(const YmodemSender&) = delete;

  // Replaces the callback that follows the transfer; an empty one turns that off.
  void SetProgressCallback(TransferProgress progress);

  // Sends the image of `length` bytes at `image`; the memory must reach to the end of its last
  // 1024-byte block. An empty `file_name` makes packet 0 all zeros. Waits indefinitely for the
  // receiver to ask for the first packet.
  // Returns 0 when the receiver acknowledged everything, 1 when it refused or answered wrongly.
  // Throws `std::runtime_error` "Exceed size limit detected. Exiting" when packet 0 can't hold the
  // texts of `infos`; nothing of it has been sent then.
  int Ymodem_Transmit(ISerialPort& port, const std::uint8_t* image, const std::string& file_name,
                      std::uint32_t length, const BoardDefinition& board);
  int Ymodem_Transmit(ISerialPort& port, const std::uint8_t* image, const std::string& file_name,
                      std::uint32_t length, const AppInfos& infos);

  // The part of a transfer after packet 0: blocks, end of file, closing packet.
  // Returns 1 on success, 0 on failure.
  int SendDataPacket(ISerialPort& port, const std::uint8_t* image, std::uint32_t length);

 private:
  using PacketZeroBuilder = std::function<PacketZeroData()>;

  int Transmit(ISerialPort& port, const std::uint8_t* image, std::uint32_t length,
               const PacketZeroBuilder& build_packet_zero);
  bool SendBlocks(ISerialPort& port, const std::uint8_t* image, std::uint32_t length);
  bool SendEndOfFile(ISerialPort& port);
  void Report(bool failed, double fraction) const;

  TransferProgress progress_;
};

}  // namespace kvo::bootloadertms
