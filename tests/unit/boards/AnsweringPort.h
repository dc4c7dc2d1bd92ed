#pragma once

#include <deque>
#include <string>

#include "support/FakeTime.h"
#include "support/UnaskedPort.h"

namespace kvo::boards::testing {

// A port at whose other end nobody thinks: the bytes and texts that it answers are given in
// advance. It notes all that is sent. A byte that doesn't come takes 200 ms of `FakeTime`.
class AnsweringPort : public bootloadertms::testing::UnaskedPort {
 public:
  static constexpr char kNothing = '-';  // no answer in time

  // `bytes` answer one `ReadByte` each, `texts` one `Read`; nothing comes after them.
  explicit AnsweringPort(std::string bytes = "", std::deque<std::string> texts = {})
      : bytes_(bytes.begin(), bytes.end()), texts_(std::move(texts)) {}

  void WriteByte(std::uint8_t byte) override { sent += static_cast<char>(byte); }

  std::uint8_t ReadByte() override {
    has_read = !bytes_.empty() && bytes_.front() != kNothing;
    const char byte = has_read ? bytes_.front() : '\0';
    if (!has_read) {
      bootloadertms::testing::FakeTime::Current()->Sleep(std::chrono::milliseconds(200));
    }
    if (!bytes_.empty()) {
      bytes_.pop_front();
    }
    return static_cast<std::uint8_t>(byte);
  }

  void Read(std::string& data) override {
    data.clear();
    bootloadertms::testing::FakeTime::Current()->Sleep(text_takes);
    if (!texts_.empty()) {
      data = texts_.front();
      texts_.pop_front();
    }
  }

  int FlushInput() override { return 0; }

  std::chrono::milliseconds text_takes{0};
  std::string sent;
  bool has_read = false;

 private:
  std::deque<char> bytes_;
  std::deque<std::string> texts_;
};

}  // namespace kvo::boards::testing
