#pragma once

#include <sys/resource.h>

namespace kvo::boards::testing {

// While it lives, this process gets no further descriptor.
class NoMoreDescriptors {
 public:
  NoMoreDescriptors() {
    ::getrlimit(RLIMIT_NOFILE, &former_);
    const rlimit none{.rlim_cur = 0, .rlim_max = former_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
  }
  NoMoreDescriptors(const NoMoreDescriptors&) = delete;
  NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;
  ~NoMoreDescriptors() { ::setrlimit(RLIMIT_NOFILE, &former_); }

 private:
  rlimit former_{};
};

}  // namespace kvo::boards::testing
