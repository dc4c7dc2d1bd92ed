#include "fuzz/Line.h"

#include <system_error>

namespace kvo::bootloadertms::testing {

namespace {

constexpr std::uint8_t kReadFails = 0xFF;
constexpr std::size_t kLongestRecordWithoutARead = 5'000;

}  // namespace

void Line::Write(std::uint8_t byte) {
  record_.append({'w', static_cast<char>(byte)});
  RequireAnEnd();
}

void Line::Flush() {
  record_ += 'f';
  RequireAnEnd();
}

void Line::Sleep(std::chrono::nanoseconds time) {
  record_ += 's' + std::to_string(time.count()) + ';';
  RequireAnEnd();
}

std::uint8_t Line::ReadByte() {
  record_ += 'b';
  const std::uint8_t answer = answers_.TakeByte();
  record_ += static_cast<char>(answer);
  last_read_ = record_.size();
  return answer;
}

std::string Line::Read() {
  record_ += 'r';
  last_read_ = record_.size();
  const std::uint8_t length = answers_.TakeByte();
  if (length == kReadFails) {
    throw std::system_error(EFAULT, std::system_category());
  }
  const std::string received = answers_.TakeText(length);
  return received.empty() ? received : received + '\0';
}

void Line::RequireAnEnd() const {
  Require(record_.size() - last_read_ < kLongestRecordWithoutARead, "reads now and then");
}

}  // namespace kvo::bootloadertms::testing
