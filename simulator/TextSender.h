#pragma once

#include <string>
#include <string_view>

#include "simulator/ByteStream.h"

namespace kvo::boardsimulator {

// How the board sends its texts.
struct TextManner {
  std::string line_end = "\r\n";
  std::chrono::milliseconds delay{0};         // before each answer
  std::optional<std::size_t> piece_size;      // not 0; nothing: each text in one piece
  std::chrono::milliseconds piece_pause{10};  // between two pieces
};

// Sends the board's texts; the bytes of an upload go their own way. Borrows the stream.
class TextSender {
 public:
  TextSender(ByteStream& stream, TextManner manner) : stream_(stream), manner_(std::move(manner)) {}

  // Answers a request, with a line end or exactly as told. No bytes: does nothing.
  void AnswerLine(std::string_view text) { Answer(std::string(text) + manner_.line_end); }
  void Answer(std::string_view bytes);
  // Sends a line that no request asked for just now, so without the delay.
  void ReportLine(std::string_view text) { SendInPieces(std::string(text) + manner_.line_end); }

 private:
  void SendInPieces(std::string_view bytes);

  ByteStream& stream_;
  TextManner manner_;
};

}  // namespace kvo::boardsimulator
