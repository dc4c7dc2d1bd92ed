#pragma once

#include <functional>
#include <string>
#include <utility>

namespace kvo::boards::testing {

// While it lives, the next calls of one function of the C library aren't handed on but return this
// with this `errno`: a function that FailingCall.cpp stands in for. Each process that is forked
// meanwhile counts its own. At most one lives at a time, and one thread makes the calls.
class FailingCall {
 public:
  FailingCall(std::string name, int error, int result = -1, int times = 1);
  FailingCall(const FailingCall&) = delete;
  FailingCall& operator=(const FailingCall&) = delete;
  ~FailingCall();

  // Called by each call that fails.
  std::function<void()> on_call = [] {};

  // For the functions that stand in: whether the call fails, and with which result.
  static std::pair<bool, int> Take(const char* name);

 private:
  std::string name_;
  int error_;
  int result_;
  int times_;
};

}  // namespace kvo::boards::testing
