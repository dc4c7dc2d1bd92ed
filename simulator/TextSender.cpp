#include "simulator/TextSender.h"

#include <vector>

namespace kvo::boardsimulator {

void TextSender::Answer(std::string_view bytes) {
  if (bytes.empty()) {
    return;
  }
  stream_.Wait(manner_.delay);
  SendInPieces(bytes);
}

void TextSender::SendInPieces(std::string_view bytes) {
  const std::size_t piece_size = manner_.piece_size.value_or(bytes.size());
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, piece_size);
    stream_.Send(std::vector<std::uint8_t>(piece.begin(), piece.end()));
    bytes.remove_prefix(piece.size());
    if (!bytes.empty()) {
      stream_.Wait(manner_.piece_pause);
    }
  }
}

}  // namespace kvo::boardsimulator
