#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "fuzz/Fuzzing.h"
#include "support/UnaskedPort.h"
#include "tables/Wire.h"

namespace kvo::bootloadertms::testing {

// A line to a board that answers what the input says, and the record of all that was done on it.
// The code under test has one, by a `PortOnLine`; its model has another with the same input. What
// both did must be the same.
class Line : public Wire {
 public:
  explicit Line(const FuzzInput& answers) : answers_(answers) {}

  void Write(std::uint8_t byte) override;
  void Flush() override;
  void Sleep(std::chrono::nanoseconds time) override;

  // When the input is used up the run ends. `Read` takes a counted text and appends a '\0' unless
  // it is empty; it throws `std::system_error` for the length 0xFF.
  std::uint8_t ReadByte() override;
  std::string Read() override;

  // A letter for each step in its order, with the step's values.
  const std::string& Record() const { return record_; }

 private:
  void RequireAnEnd() const;

  FuzzInput answers_;
  std::string record_;
  std::size_t last_read_ = 0;
};

// The port of the code under test, on a line that it borrows.
class PortOnLine : public UnaskedPort {
 public:
  explicit PortOnLine(Line& line) : line_(line) {}

  void Read(std::string& data) override { data = line_.Read(); }
  void WriteByte(std::uint8_t byte) override { line_.Write(byte); }
  std::uint8_t ReadByte() override { return line_.ReadByte(); }
  int FlushInput() override { return line_.Flush(), 0; }

 private:
  Line& line_;
};

}  // namespace kvo::bootloadertms::testing
