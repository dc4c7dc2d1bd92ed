#include "faults/AllocationLedger.h"

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>

namespace kvo::bootloadertms::testing {
namespace {

TEST(AllocationLedgerTest, TellsWhatIsNotDeletedYet) {
  const std::ptrdiff_t before = LiveAllocations();
  void* const one = ::operator new(10);  // no compiler may leave it out, as it may `new int`
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

}  // namespace
}  // namespace kvo::bootloadertms::testing
