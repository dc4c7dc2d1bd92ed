#include "faults/AllocationLedger.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace kvo::bootloadertms::testing {
namespace {

// By calls of the operators, which no compiler may leave out as it may `new int`.
void AllocateAndRelease() { ::operator delete(::operator new(10)); }

TEST(AllocationLedgerTest, TellsWhatIsNotDeletedYet) {
  const std::ptrdiff_t before = LiveAllocations();
  void* const one = ::operator new(10);
  void* const other = ::operator new[](10);
  EXPECT_EQ(LiveAllocations() - before, 2);
  ::operator delete[](other);
  ::operator delete(one);
  EXPECT_EQ(LiveAllocations() - before, 0);
}

TEST(AllocationLedgerTest, SeesWhatTheStandardLibraryAllocates) {
  const std::ptrdiff_t before = LiveAllocations();
  {
    const std::runtime_error error("a text that the library keeps a copy of");
    EXPECT_EQ(LiveAllocations() - before, 1);
  }
  EXPECT_EQ(LiveAllocations() - before, 0);
}

TEST(AllocationLedgerTest, CountsWhileItIsWatched) {
  {
    const WatchedAllocations watched;
    AllocateAndRelease();
    AllocateAndRelease();
  }
  AllocateAndRelease();
  EXPECT_EQ(WatchedAllocations::Count(), 2U);
}

// Which of `allocations` failed, 0 for none.
int FailedOf(int allocations, std::size_t failing) {
  const WatchedAllocations watched(failing);
  for (int i = 1; i <= allocations; ++i) {
    try {
      AllocateAndRelease();
    } catch (const std::bad_alloc&) {
      return i;
    }
  }
  return 0;
}

TEST(AllocationLedgerTest, TellsWhatIsDoneOutsideALock) {
  std::mutex mutex;
  {
    const WatchedAllocations watched;
    auto outside = std::make_unique<int>(1);
    const std::lock_guard locked(mutex);
    const auto within = std::make_unique<int>(2);
    outside.reset();
  }
  EXPECT_EQ(WatchedAllocations::CountOutsideTheLock(), 1U);
}

TEST(AllocationLedgerTest, OneAllocationFailsWhenAsked) {
  const std::ptrdiff_t before = LiveAllocations();
  EXPECT_EQ(FailedOf(3, 1), 1);
  EXPECT_EQ(FailedOf(3, 3), 3);
  EXPECT_EQ(FailedOf(3, 4), 0);
  EXPECT_EQ(FailedOf(3, 0), 0);
  EXPECT_EQ(LiveAllocations() - before, 0);
}

TEST(AllocationLedgerTest, OnlyOneAllocationFails) {
  const WatchedAllocations watched(1);
  EXPECT_THROW(AllocateAndRelease(), std::bad_alloc);
  EXPECT_NO_THROW(AllocateAndRelease());
}

TEST(AllocationLedgerTest, WhatMustNotThrowGivesNothing) {
  const WatchedAllocations watched(1);
  EXPECT_EQ(::operator new(10, std::nothrow), nullptr);
  void* const memory = ::operator new(10, std::nothrow);
  EXPECT_NE(memory, nullptr);
  ::operator delete(memory, std::nothrow);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
