#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tables/Wire.h"

// What each fuzz target defines: one run of the code under test on `data`, which ends the process
// when something is wrong. libFuzzer calls it, or ReplayMain.cpp with the inputs that are kept.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace kvo::bootloadertms::testing {

// Ends the process, with `what` on standard error, unless it holds.
void Require(bool holds, const char* what);

// Ends the process when this object lives longer than 20 seconds of the processor's time: the code
// under test doesn't come to an end.
class RunLimit {
 public:
  RunLimit();
  RunLimit(const RunLimit&) = delete;
  RunLimit& operator=(const RunLimit&) = delete;
  ~RunLimit();
};

// The bytes of one run, taken from the front. Where one is wanted and none is left, the run ends.
class FuzzInput {
 public:
  // Borrows `data`.
  FuzzInput(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  std::uint8_t TakeByte() {
    if (size_ == 0) {
      throw EndOfRun{};
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
