#include "support/HeldLocks.h"

#include <pthread.h>

#include "support/SystemsOwn.h"

namespace kvo::bootloadertms::testing {

namespace {

thread_local int held = 0;
thread_local int taken = 0;
thread_local int failure = 0;

using MutexFunction = int(pthread_mutex_t*);

int Lock(pthread_mutex_t* mutex) {
  if (failure != 0) {
    return failure;
  }
  static MutexFunction* const kLock = SystemsOwn<MutexFunction>("pthread_mutex_lock");
  const int result = kLock(mutex);
  if (result == 0) {
    ++held;
    ++taken;
  }
  return result;
}

int Unlock(pthread_mutex_t* mutex) {
  static MutexFunction* const kUnlock = SystemsOwn<MutexFunction>("pthread_mutex_unlock");
  const int result = kUnlock(mutex);
  if (result == 0) {
    --held;
  }
  return result;
}

}  // namespace

int HeldLocks() { return held; }

int LocksTaken() { return taken; }

FailingLocks::FailingLocks(int error) { failure = error; }

FailingLocks::~FailingLocks() { failure = 0; }

}  // namespace kvo::bootloadertms::testing

// The C library's own names, so that these stand in for them throughout the program.
extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  return kvo::bootloadertms::testing::Lock(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  return kvo::bootloadertms::testing::Unlock(mutex);
}

}  // extern "C"
