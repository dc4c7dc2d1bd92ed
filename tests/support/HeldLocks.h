#pragma once

namespace kvo::bootloadertms::testing {

// How many mutexes this thread holds now, and how many it has locked so far. HeldLocks.cpp stands
// in for the C library's functions to count them; they still lock.
int HeldLocks();
int LocksTaken();

}  // namespace kvo::bootloadertms::testing
