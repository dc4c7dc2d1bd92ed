#pragma once

#include <cstddef>

namespace kvo::bootloadertms::testing {

// How many blocks of memory that `new` has given to this process are not deleted yet.
// AllocationLedger.cpp replaces `new` and `delete` to count them; they still allocate.
std::ptrdiff_t LiveAllocations();

// Counts, for as long as the object lives, the allocations by `new` and makes one of them throw
// `std::bad_alloc`. At most one object lives at a time, and one thread allocates.
class WatchedAllocations {
 public:
  // The `failing`th from now on fails, counted from 1; 0: none does.
  explicit WatchedAllocations(std::size_t failing = 0);
  WatchedAllocations(const WatchedAllocations&) = delete;
  WatchedAllocations& operator=(const WatchedAllocations&) = delete;
  ~WatchedAllocations();

  // How many were asked for, the failed one included. Stays readable when the object is gone, until
  // the next one is made.
  static std::size_t Count();

  // How many blocks were asked for or given back while this thread held no mutex. Readable as long.
  static std::size_t CountOutsideTheLock();
};

}  // namespace kvo::bootloadertms::testing
