#include "support/OpenDescriptors.h"

#include <filesystem>

namespace kvo::bootloadertms::testing {

std::vector<int> OpenDescriptorsOf(const std::string& path) {
  std::vector<int> descriptors;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry.path(), ignored) == path) {
      descriptors.push_back(std::stoi(entry.path().filename().string()));
    }
  }
  return descriptors;
}

}  // namespace kvo::bootloadertms::testing
