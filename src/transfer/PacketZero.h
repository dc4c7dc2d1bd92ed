#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "BoardDefinition.h"
#include "YmodemProtocol.h"

namespace kvo::bootloadertms {

class AppInfos;  // AppInfos.h

using PacketZeroData = std::array<std::uint8_t, ymodem::kPacketZeroSize>;

// The data field of packet 0, which tells the bootloader how long the image is and what it is for:
// the length in decimal at offset 0, and from offset 17 on either names or an identification text;
// 0x00 everywhere else. Every text that doesn't fit is a `std::runtime_error` "Exceed size limit
// detected. Exiting" and leaves the packet as it was.
class PacketZero {
 public:
  explicit PacketZero(std::uint32_t image_length);

  // Appends a 32-byte field: at most 31 characters of `name`, the rest 0x00.
  void AppendName(const std::string& name);

  // Appends `text` as it is, with no terminator.
  void AppendText(const std::string& text);

  const PacketZeroData& GetData() const;

 private:
  PacketZeroData data_{};
  std::size_t position_;
};

// Names of board, application and version.
PacketZeroData BuildPacketZero(std::uint32_t image_length, const BoardDefinition& board);

// The three texts of `infos`, a "|" after each, split by a blank after every 31 characters.
PacketZeroData BuildPacketZero(std::uint32_t image_length, const AppInfos& infos);

}  // namespace kvo::bootloadertms
