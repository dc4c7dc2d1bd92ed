#include "serial/Baudrate.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace kvo::bootloadertms {

namespace {

struct Speed {
  std::uint32_t rate;  // in bits per second
  speed_t constant;    // the terminal driver's
};

constexpr auto kSpeeds = std::to_array<Speed>({
    {1000000, B1000000},
    {115200, B115200},
    {19200, B19200},
    {38400, B38400},
    {57600, B57600},
    {9600, B9600},
});

// Null for a rate that is not supported.
const Speed* Find(std::uint32_t rate) {
  const auto* speed = std::ranges::find(kSpeeds, rate, &Speed::rate);
  return speed == kSpeeds.end() ? nullptr : speed;
}

}  // namespace

std::uint32_t Baudrate::GetValue() const { return value_; }

bool Baudrate::IsSupported(std::uint32_t rate) { return Find(rate) != nullptr; }

std::uint32_t Baudrate::Lookup(std::uint32_t rate) { return IsSupported(rate) ? rate : 0; }

speed_t Baudrate::TerminalSpeed(std::uint32_t rate) {
  const Speed* speed = Find(rate);
  if (speed == nullptr) {
    throw std::runtime_error(
        "baudRate passed to "
        "void kvo::bootloadertms::SerialPortLinux::ConfigureTermios()"
        " unrecognized.");
  }
  return speed->constant;
}

void Baudrate::SetValue(std::uint32_t rate) {
  if (IsSupported(rate)) {
    value_ = Lookup(rate);
  }
}

}  // namespace kvo::bootloadertms
