#pragma once

namespace kvo::bootloadertms::testing {

// Ends the process, with `what` on standard error, unless it holds.
void Require(bool holds, const char* what);

// Ends the process when this object lives longer than 20 seconds of the processor's time: the code
// under test doesn't come to an end.
class RunLimit {
 public:
  RunLimit();
  RunLimit(const RunLimit&) = delete;
  RunLimit& operator=(const RunLimit&) = delete;
  ~RunLimit();
};

}  // namespace kvo::bootloadertms::testing
