#pragma once

#include <string>

namespace kvo::bootloadertms {

// What a wrong count of arguments gets, each line ended by a newline.
std::string UsageText();

}  // namespace kvo::bootloadertms
