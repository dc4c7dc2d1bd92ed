#include "support/HeldLocks.h"

#include <gtest/gtest.h>

#include <mutex>

namespace kvo::bootloadertms::testing {
namespace {

TEST(HeldLocksTest, CountsTheMutexesOfThisThread) {
  const int taken_before = LocksTaken();
  std::mutex one;
  std::mutex two;
  EXPECT_EQ(HeldLocks(), 0);
  {
    const std::lock_guard first(one);
    EXPECT_EQ(HeldLocks(), 1);
    const std::lock_guard second(two);
    EXPECT_EQ(HeldLocks(), 2);
  }
  EXPECT_EQ(HeldLocks(), 0);
  EXPECT_EQ(LocksTaken() - taken_before, 2);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
