#include "fuzz/Fuzzing.h"

#include <sys/time.h>

#include <csignal>
#include <cstdlib>
#include <iostream>

namespace kvo::bootloadertms::testing {

namespace {

constexpr time_t kLongestRunInSeconds = 20;

void SetTimer(time_t seconds) {
  const itimerval timer = {.it_interval = {}, .it_value = {.tv_sec = seconds, .tv_usec = 0}};
  ::setitimer(ITIMER_VIRTUAL, &timer, nullptr);
}

// Aborting lets the fuzzer keep the input.
void AbortOnTimer() {
  std::signal(SIGVTALRM, [](int) { std::abort(); });
}

}  // namespace

void Require(bool holds, const char* what) {
  if (!holds) {
    std::cerr << "Does not hold: " << what << std::endl;
    std::abort();
  }
}

RunLimit::RunLimit() {
  [[maybe_unused]] static const bool kInstalled = (AbortOnTimer(), true);
  SetTimer(kLongestRunInSeconds);
}

RunLimit::~RunLimit() { SetTimer(0); }

}  // namespace kvo::bootloadertms::testing
