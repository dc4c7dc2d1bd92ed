#pragma once

#include <string>
#include <vector>

namespace kvo::bootloadertms::testing {

// The descriptors by which this process has the file at `path` open.
std::vector<int> OpenDescriptorsOf(const std::string& path);

}  // namespace kvo::bootloadertms::testing
