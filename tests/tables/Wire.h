#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace kvo::bootloadertms::testing {

// Thrown at the code under test, or at its model, to end a run from outside. No `std::exception`,
// so that nobody on the way takes it for a failure of theirs.
struct EndOfRun {};

// The host's end of a line, as the models use it.
class Wire {
 public:
  Wire() = default;
  Wire(const Wire&) = delete;
  Wire& operator=(const Wire&) = delete;
  virtual ~Wire() = default;

  virtual void Write(std::uint8_t byte) = 0;
  virtual void Flush() = 0;
  virtual std::uint8_t ReadByte() = 0;
  virtual std::string Read() = 0;
  virtual void Sleep(std::chrono::nanoseconds time) = 0;

  void WriteAll(const std::string& bytes) {
    for (const char byte : bytes) {
      Write(static_cast<std::uint8_t>(byte));
    }
  }
};

}  // namespace kvo::bootloadertms::testing
