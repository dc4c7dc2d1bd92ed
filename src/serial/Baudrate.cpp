#include "serial/Baudrate.h"

#include "serial/Speeds.h"

namespace kvo::bootloadertms {

std::uint32_t Baudrate::GetValue() const { return value_; }

bool Baudrate::IsSupported(std::uint32_t rate) { return FindSpeed(rate) != nullptr; }

std::uint32_t Baudrate::Lookup(std::uint32_t rate) { return IsSupported(rate) ? rate : 0; }

void Baudrate::SetValue(std::uint32_t rate) {
  if (IsSupported(rate)) {
    value_ = Lookup(rate);
  }
}

}  // namespace kvo::bootloadertms
