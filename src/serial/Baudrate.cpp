#include "serial/Baudrate.h"

#include <map>

namespace kvo::bootloadertms {

std::uint32_t Baudrate::GetValue() const { return value_; }

bool Baudrate::IsSupported(std::uint32_t rate) {
  return rate == 1000000 || rate == 115200 || rate == 19200 || rate == 38400 || rate == 57600 ||
         rate == 9600;
}

std::uint32_t Baudrate::Lookup(std::uint32_t rate) {
  static const std::map<std::uint32_t, std::uint32_t> kRates = {
      {9600, 9600},   {19200, 19200},   {38400, 38400},
      {57600, 57600}, {115200, 115200}, {1000000, 1000000},
  };
  return IsSupported(rate) ? kRates.at(rate) : 0;
}

void Baudrate::SetValue(std::uint32_t rate) {
  if (IsSupported(rate)) {
    value_ = Lookup(rate);
  }
}

}  // namespace kvo::bootloadertms
