#include "serial/Baudrate.h"

#include <algorithm>
#include <array>

namespace kvo::bootloadertms {

namespace {

constexpr std::array<std::uint32_t, 6> kRates = {1000000, 115200, 19200, 38400, 57600, 9600};

}  // namespace

std::uint32_t Baudrate::GetValue() const { return value_; }

bool Baudrate::IsSupported(std::uint32_t rate) {
  return std::find(kRates.begin(), kRates.end(), rate) != kRates.end();
}

std::uint32_t Baudrate::Lookup(std::uint32_t rate) { return IsSupported(rate) ? rate : 0; }

void Baudrate::SetValue(std::uint32_t rate) {
  if (IsSupported(rate)) {
    value_ = Lookup(rate);
  }
}

}  // namespace kvo::bootloadertms
