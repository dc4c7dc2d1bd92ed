#include "faults/AllocationLedger.h"

#include <cstdlib>
#include <new>

#include "support/HeldLocks.h"

namespace kvo::bootloadertms::testing {

namespace {

bool watched = false;
std::size_t count = 0;
std::size_t failing_ordinal = 0;
std::size_t outside_the_lock = 0;
std::ptrdiff_t live = 0;

void NoteLock() {
  if (watched && HeldLocks() == 0) {
    ++outside_the_lock;
  }
}

bool IsToFail() {
  if (!watched) {
    return false;
  }
  ++count;
  return count == failing_ordinal;
}

void* AllocateOrNull(std::size_t size) {
  NoteLock();
  void* const memory = IsToFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory != nullptr) {
    ++live;
  }
  return memory;
}

void* Allocate(std::size_t size) {
  void* const memory = AllocateOrNull(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void Release(void* memory) {
  if (memory != nullptr) {
    NoteLock();
    --live;
    std::free(memory);
  }
}

}  // namespace

std::ptrdiff_t LiveAllocations() { return live; }

WatchedAllocations::WatchedAllocations(std::size_t failing) {
  count = 0;
  outside_the_lock = 0;
  failing_ordinal = failing;
  watched = true;
}

WatchedAllocations::~WatchedAllocations() { watched = false; }

std::size_t WatchedAllocations::Count() { return count; }

std::size_t WatchedAllocations::CountOutsideTheLock() { return outside_the_lock; }

}  // namespace kvo::bootloadertms::testing

// The language's own names, so that these stand in for them throughout the program. All of them, as
// a sanitizer brings each of its own; those for over-aligned types are left alone, nothing here
// has any.
namespace ledger = kvo::bootloadertms::testing;

void* operator new(std::size_t size) { return ledger::Allocate(size); }
void* operator new[](std::size_t size) { return ledger::Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return ledger::AllocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return ledger::AllocateOrNull(size);
}
void operator delete(void* memory) noexcept { ledger::Release(memory); }
void operator delete[](void* memory) noexcept { ledger::Release(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { ledger::Release(memory); }
void operator delete[](void* memory, std::size_t /*size*/) noexcept { ledger::Release(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
  ledger::Release(memory);
}
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
  ledger::Release(memory);
}
