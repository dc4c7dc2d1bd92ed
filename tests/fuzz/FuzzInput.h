#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace kvo::bootloadertms::testing {

// Thrown at the code under test when the input is used up: it ends the run. No `std::exception`, so
// that nobody on the way takes it for a failure of theirs.
struct InputUsedUp {};

// The bytes of one run, taken from the front.
class FuzzInput {
 public:
  // Borrows `data`.
  FuzzInput(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  std::uint8_t TakeByte() {
    if (size_ == 0) {
      throw InputUsedUp{};
    }
    --size_;
    return *data_++;
  }

  // Two bytes, the low one first.
  std::uint16_t TakeWord() {
    const std::uint16_t low = TakeByte();
    return static_cast<std::uint16_t>(low | (TakeByte() << 8));
  }

  // As many bytes as there are, at most `length`.
  std::string TakeText(std::size_t length) {
    std::string text;
    while (text.size() < length && size_ > 0) {
      text += static_cast<char>(TakeByte());
    }
    return text;
  }

  // A byte that tells a length, and so many bytes.
  std::string TakeCountedText() { return TakeText(TakeByte()); }

  std::string TakeRest() { return TakeText(size_); }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

}  // namespace kvo::bootloadertms::testing
