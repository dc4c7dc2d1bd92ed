#pragma once

#include <cstddef>
#include <string>

namespace kvo::bootloadertms::testing {

// Counts, for as long as the object lives, the calls of `popen`, `open`, `close`, `tcgetattr`,
// `tcsetattr` and `tcflush` that this process makes, and lets some fail with EIO without handing
// them on. Without an object these functions do what the system's own do. Calls from inside the C
// library are not seen. At most one object lives at a time, and one thread makes the calls.
//
// It has a library of its own, as every program that links it gets the functions.
class FailingSystemCalls {
 public:
  // The `first`th call and, if `lasting`, all that follow fail; 0: none.
  explicit FailingSystemCalls(std::size_t first = 0, bool lasting = false);
  FailingSystemCalls(const FailingSystemCalls&) = delete;
  FailingSystemCalls& operator=(const FailingSystemCalls&) = delete;
  ~FailingSystemCalls();

  // The names of the calls so far, a blank behind each.
  const std::string& Names() const;

  // For the functions that stand in for the C library's: notes a call and tells, with `errno` set,
  // whether it fails.
  static bool Fails(const char* name);

 private:
  std::size_t first_;
  bool lasting_;
  std::size_t count_ = 0;
  std::string names_;
};

}  // namespace kvo::bootloadertms::testing
