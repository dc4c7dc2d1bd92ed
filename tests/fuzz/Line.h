#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "fuzz/FuzzInput.h"

namespace kvo::bootloadertms::testing {

// A line to a board that answers what the input says, and the record of all that was done on it.
// The code under test has one, by a `PortOnLine`; its model has another with the same input. What
// both did must be the same.
class Line {
 public:
  explicit Line(const FuzzInput& answers) : answers_(answers) {}

  void Write(std::uint8_t byte);
  void Write(const std::string& bytes);
  void Flush();
  void Sleep(std::chrono::nanoseconds time);

  // Throw `InputUsedUp`. `Read` takes a counted text and appends a '\0' unless it is empty; it
  // throws `std::system_error` for the length 0xFF.
  std::uint8_t ReadByte();
  std::string Read();

  // A letter for each step in its order, with the step's values.
  const std::string& Record() const { return record_; }

  std::chrono::nanoseconds Slept() const { return slept_; }

 private:
  void RequireAnEnd() const;

  FuzzInput answers_;
  std::string record_;
  std::size_t last_read_ = 0;
  std::chrono::nanoseconds slept_{};
};

}  // namespace kvo::bootloadertms::testing
