#include "transfer/PacketZero.h"

#include <algorithm>
#include <stdexcept>

#include "client/AppInfos.h"

namespace kvo::bootloadertms {

namespace {

constexpr std::size_t kNamesOffset = 17;
constexpr std::size_t kNameFieldSize = 32;
constexpr std::size_t kPieceLength = 31;

std::string IdentificationText(const AppInfos& infos) {
  const std::string joined = infos.GetF1() + "|" + infos.GetF2() + "|" + infos.GetF3() + "|";
  std::string text;
  for (std::size_t start = 0; start < joined.size(); start += kPieceLength) {
    text += joined.substr(start, kPieceLength) + " ";
  }
  text.pop_back();
  return text;
}

// The packet's last byte stays 0x00, so a field must end before it.
void RequireRoom(std::size_t position, std::size_t size) {
  if (size >= ymodem::kPacketZeroSize - position) {
    throw std::runtime_error("Exceed size limit detected. Exiting");
  }
}

}  // namespace

PacketZero::PacketZero(std::uint32_t image_length) : position_(kNamesOffset) {
  const std::string digits = std::to_string(image_length);
  std::ranges::copy(digits, data_.begin());
}

void PacketZero::AppendName(const std::string& name) {
  RequireRoom(position_, kNameFieldSize);
  std::copy_n(name.begin(), std::min(name.size(), kNameFieldSize - 1), data_.begin() + position_);
  position_ += kNameFieldSize;
}

void PacketZero::AppendText(const std::string& text) {
  RequireRoom(position_, text.size());
  std::ranges::copy(text, data_.begin() + position_);
  position_ += text.size();
}

const PacketZeroData& PacketZero::GetData() const { return data_; }

PacketZeroData BuildPacketZero(std::uint32_t image_length, const BoardDefinition& board) {
  PacketZero packet(image_length);
  packet.AppendName(board.GetBoardName());
  packet.AppendName(board.GetApplicationName());
  packet.AppendName(board.GetVersion());
  return packet.GetData();
}

PacketZeroData BuildPacketZero(std::uint32_t image_length, const AppInfos& infos) {
  PacketZero packet(image_length);
  packet.AppendText(IdentificationText(infos));
  return packet.GetData();
}

}  // namespace kvo::bootloadertms
