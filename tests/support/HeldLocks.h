#pragma once

namespace kvo::bootloadertms::testing {

// How many mutexes this thread holds now, and how many it has locked so far. HeldLocks.cpp stands
// in for the C library's functions to count them; they still lock.
int HeldLocks();
int LocksTaken();

// While an object lives, this thread can't lock any mutex: the C library's function fails with
// `error`. At most one lives at a time.
class FailingLocks {
 public:
  explicit FailingLocks(int error);
  FailingLocks(const FailingLocks&) = delete;
  FailingLocks& operator=(const FailingLocks&) = delete;
  ~FailingLocks();
};

}  // namespace kvo::bootloadertms::testing
