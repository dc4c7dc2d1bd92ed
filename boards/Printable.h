#pragma once

#include <string>
#include <string_view>

namespace kvo::boards {

// `text` with its control characters and what isn't UTF-8 as "\x1b": names and answers come from
// outside, and nobody is to write to the terminal through them.
std::string Printable(std::string_view text);

}  // namespace kvo::boards
