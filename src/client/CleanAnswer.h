#pragma once

#include <string>

namespace kvo::bootloadertms {

// A copy of `answer` without its CR, LF and NUL bytes, the others in their order.
std::string CleanAnswer(const std::string& answer);

}  // namespace kvo::bootloadertms
