#pragma once

#include <string>

namespace kvo::bootloadertms::testing {

// Requires UTF-8 without control characters but ends of lines: nobody writes to a terminal through
// what comes from outside.
void RequireHarmless(const std::string& text);

}  // namespace kvo::bootloadertms::testing
