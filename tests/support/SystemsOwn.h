#pragma once

#include <dlfcn.h>

#include <cstdlib>

namespace kvo::bootloadertms::testing {

// The function that would be called if this program defined none of that name. For programs that
// stand in for functions of the C library; they link the library of dlsym.
template <typename Function>
Function* SystemsOwn(const char* name) {
  void* const function = ::dlsym(RTLD_NEXT, name);
  if (function == nullptr) {
    std::abort();
  }
  return reinterpret_cast<Function*>(function);
}

}  // namespace kvo::bootloadertms::testing
