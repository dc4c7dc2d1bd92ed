#include "torture/AllocationLedger.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

namespace kvo::bootloadertms::testing {
namespace {

TEST(AllocationLedgerTest, TellsWhatIsNotDeletedYet) {
  const std::ptrdiff_t before = LiveAllocations();
  {
    const auto one = std::make_unique<int>(1);
    const auto many = std::make_unique<int[]>(100);
    EXPECT_EQ(LiveAllocations() - before, 2);
  }
  EXPECT_EQ(LiveAllocations() - before, 0);
}

TEST(AllocationLedgerTest, SeesWhatTheStandardLibraryAllocates) {
  const std::ptrdiff_t before = LiveAllocations();
  const std::string text(100, 'x');
  const std::string joined = text + text;
  EXPECT_EQ(LiveAllocations() - before, 2);
}

TEST(AllocationLedgerTest, CountsWhileItIsWatched) {
  {
    const WatchedAllocations watched;
    const std::vector<int> first(10);
    const std::vector<int> second(10);
  }
  const std::vector<int> third(10);
  EXPECT_EQ(WatchedAllocations::Count(), 2U);
}

// Which of `allocations` failed, 0 for none.
int FailedOf(int allocations, std::size_t failing) {
  const WatchedAllocations watched(failing);
  for (int i = 1; i <= allocations; ++i) {
    try {
      const std::vector<int> memory(10);
    } catch (const std::bad_alloc&) {
      return i;
    }
  }
  return 0;
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
  EXPECT_THROW(const std::vector<int> memory(10), std::bad_alloc);
  EXPECT_NO_THROW(const std::vector<int> memory(10));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
