#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

namespace kvo::bootloadertms::testing {

// The place of a virtual operation in its class's table, from 0, as in
// `VtableSlot(&ISerialPort::Open)`. Throws `std::logic_error` for an operation that isn't virtual.
//
// A pointer to a member is two words. That of a virtual operation holds the place in bytes in the
// first, and a mark in the lowest bit: of the first word on x86-64, of the second on AArch64, where
// the first is a multiple of 8.
template <typename Operation>
std::size_t VtableSlot(Operation operation) {
  struct Words {
    std::uintptr_t place;
    std::uintptr_t adjustment;
  };
  const auto words = std::bit_cast<Words>(operation);
  if (((words.place | words.adjustment) & 1U) == 0) {
    throw std::logic_error("not a virtual operation");
  }
  return words.place / sizeof(void*);
}

}  // namespace kvo::bootloadertms::testing
