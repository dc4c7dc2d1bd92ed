#pragma once

#include <iostream>
#include <string>

namespace kvo::bootloadertms {

// Prints an answer as it is, also one that holds NUL bytes, whatever the verbose setting.
inline void PrintAnswer(const std::string& answer) { std::cout << answer << std::endl; }

}  // namespace kvo::bootloadertms
