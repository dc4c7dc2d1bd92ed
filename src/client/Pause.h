#pragma once

#include <unistd.h>

#include <chrono>

namespace kvo::bootloadertms {

// Gives the board `time`, which must not exceed one second.
// Deliberate: a signal ends the pause early, and nothing resumes it.
inline void Pause(std::chrono::microseconds time) {
  ::usleep(static_cast<useconds_t>(time.count()));
}

}  // namespace kvo::bootloadertms
