#include "boards/ports/TracedPort.h"

#include <algorithm>
#include <utility>

namespace kvo::boards {

namespace {

constexpr std::size_t kBytesPerLine = 16;

std::string LineOf(char direction, std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string line(1, direction);
  std::string text;
  for (const char byte : bytes) {
    const auto code = static_cast<unsigned char>(byte);
    line += {' ', kDigits[code >> 4U], kDigits[code & 0xFU]};
    text += code >= ' ' && code < 0x7F ? byte : '.';
  }
  return line + "  |" + text + "|";
}

}  // namespace

int TracedPort::Close() {
  RecordSent();
  return port_.Close();
}

std::int64_t TracedPort::Write(const std::string& data) {
  RecordSent();
  Record('>', data);
  return port_.Write(data);
}

void TracedPort::WriteSlowly(const std::string& data, std::uint32_t delay_ms) {
  RecordSent();
  for (const char byte : data) {
    Record('>', {&byte, 1});
    port_.WriteSlowly(std::string(1, byte), delay_ms);
  }
}

void TracedPort::Read(std::string& data) {
  RecordSent();
  port_.Read(data);
  if (!data.empty()) {
    Record('<', std::string_view(data).substr(0, data.size() - 1));  // without its '\0'
  }
}

void TracedPort::WriteByte(std::uint8_t byte) {
  sent_ += static_cast<char>(byte);
  if (sent_.size() == kBytesPerLine) {
    RecordSent();
  }
  port_.WriteByte(byte);
  if (!port_.HasKeptBytes()) {  // it has gone out, and any packet that it ends
    RecordSent();
  }
}

std::uint8_t TracedPort::ReadByte() {
  RecordSent();
  const std::uint8_t byte = port_.ReadByte();
  if (port_.HasRead()) {
    const char character = static_cast<char>(byte);
    Record('<', {&character, 1});
  }
  return byte;
}

int TracedPort::FlushInput() {
  RecordSent();
  return port_.FlushInput();
}

void TracedPort::Record(char direction, std::string_view bytes) {
  for (; !bytes.empty(); bytes.remove_prefix(std::min(kBytesPerLine, bytes.size()))) {
    log_.Line(LineOf(direction, bytes.substr(0, kBytesPerLine)));
  }
}

void TracedPort::RecordSent() { Record('>', std::exchange(sent_, {})); }

}  // namespace kvo::boards
