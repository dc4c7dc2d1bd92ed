#include "simulator/ByteStream.h"

namespace kvo::boardsimulator {

std::optional<std::uint8_t> ByteStream::ReadByte(TimePoint until) {
  if (unread_.empty()) {
    unread_ = std::span(buffer_).first(line_.Read(buffer_, until));
  }
  if (unread_.empty()) {
    return std::nullopt;
  }
  const std::uint8_t byte = unread_.front();
  unread_ = unread_.subspan(1);
  return byte;
}

void ByteStream::DiscardUntil(TimePoint until) {
  unread_ = {};
  while (line_.Read(buffer_, until) > 0) {
  }
}

}  // namespace kvo::boardsimulator
