#include "simulator/Trace.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace kvo::boardsimulator {
namespace {

constexpr std::size_t kRowSize = 16;

std::string Hex(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0x0FU];
    text += ' ';
  }
  text.resize(3 * kRowSize, ' ');
  return text;
}

std::string Printable(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
  }
  return text;
}

}  // namespace

Trace::Trace(std::unique_ptr<std::ostream> output, TimePoint start)
    : output_(std::move(output)), start_(start) {}

void Trace::Bytes(Direction direction, std::span<const std::uint8_t> bytes, TimePoint when) {
  if (!output_) {
    return;
  }
  if (direction != row_direction_) {
    EndRow();
  }
  row_direction_ = direction;
  for (const std::uint8_t byte : bytes) {
    if (row_.empty()) {
      row_time_ = when;
    }
    row_.push_back(byte);
    if (row_.size() == kRowSize) {
      EndRow();
    }
  }
}

void Trace::Event(std::string_view text, TimePoint when) {
  if (!output_) {
    return;
  }
  EndRow();
  *output_ << Time(when) << " # " << text << std::endl;
}

void Trace::EndRow() {
  if (!output_ || row_.empty()) {
    return;
  }
  const char arrow = row_direction_ == Direction::kHostToBoard ? '>' : '<';
  *output_ << Time(row_time_) << ' ' << arrow << ' ' << Hex(row_) << " |" << Printable(row_) << '|'
           << std::endl;
  row_.clear();
}

std::string Trace::Time(TimePoint when) const {
  const double seconds = std::chrono::duration<double>(when - start_).count();
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%11.6f", seconds);
  return text.data();
}

std::unique_ptr<Trace> TraceIntoFile(const std::string& path) {
  auto file = std::make_unique<std::ofstream>(path, std::ios::trunc);
  if (!*file) {
    throw std::runtime_error("cannot write the trace " + path + ": " + std::strerror(errno));
  }
  return std::make_unique<Trace>(std::move(file), Clock::now());
}

}  // namespace kvo::boardsimulator
