#pragma once

#include <stdexcept>
#include <string>

namespace kvo::bootloadertms::testing {

// The text of the `std::runtime_error` that `call` throws; "no error" when it returns.
template <typename Call>
std::string RuntimeErrorOf(const Call& call) {
  try {
    call();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "no error";
}

}  // namespace kvo::bootloadertms::testing
