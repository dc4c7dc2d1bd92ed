#pragma once

#include <cstdint>

namespace kvo::bootloadertms {

// A line speed, and the one place that decides which speeds are accepted: 9600, 19200, 38400,
// 57600, 115200 and 1000000 bits per second. Speeds that the terminal driver knows beyond these are
// refused all the same. Nothing here throws or prints.
class Baudrate {
 public:
  // A rate that is not set: its value is 0.
  Baudrate() = default;

  // The stored rate in bits per second, 0 when none was set.
  std::uint32_t GetValue() const;

  static bool IsSupported(std::uint32_t rate);

  // The rate itself; 0 for a rate that is not supported.
  static std::uint32_t Lookup(std::uint32_t rate);

  // Stores a supported rate. Any other leaves the stored one in force, without a report.
  void SetValue(std::uint32_t rate);

 private:
  std::uint32_t value_ = 0;
};

}  // namespace kvo::bootloadertms
