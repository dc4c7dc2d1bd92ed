#include "support/HeldLocks.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <mutex>
#include <system_error>

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

TEST(HeldLocksTest, LetsLocksFail) {
  std::mutex mutex;
  {
    const FailingLocks failing(EAGAIN);
    try {
      mutex.lock();
      ADD_FAILURE() << "locked";
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(), std::errc::resource_unavailable_try_again);
    }
  }
  const std::lock_guard locked(mutex);
  EXPECT_EQ(HeldLocks(), 1);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
