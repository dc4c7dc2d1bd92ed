#include "support/Files.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

namespace kvo::bootloadertms::testing {

TemporaryFolder::TemporaryFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "kvo-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    throw std::system_error(errno, std::system_category(), "mkdtemp " + pattern);
  }
  folder_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::string TemporaryFolder::Path(const std::string& name) const {
  return (folder_ / name).string();
}

std::string TemporaryFolder::WriteFile(const std::string& name, const std::string& content) const {
  const std::filesystem::path path = folder_ / name;
  std::filesystem::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << content;
  file.close();
  if (!file) {
    throw std::runtime_error("can't write " + path.string());
  }
  return path.string();
}

std::string TemporaryFolder::WriteScript(const std::string& name,
                                         const std::string& commands) const {
  std::string path = WriteFile(name, "#!/bin/sh\n" + commands + "\n");
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  return path;
}

std::string ReadFile(const std::string& path) {
  const std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

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
