#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kvo::bootloadertms::testing {

// A folder of its own for a test, removed with all it holds at the end.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  std::string Path(const std::string& name) const;

  // Makes a file (and the folders on the way to it) and returns its path.
  std::string WriteFile(const std::string& name, const std::string& content) const;

  // The same for a shell script that can be run.
  std::string WriteScript(const std::string& name, const std::string& commands) const;

 private:
  std::filesystem::path folder_;
};

// The whole content of a file; empty when there is none.
std::string ReadFile(const std::string& path);

// The descriptors by which this process has the file at `path` open.
std::vector<int> OpenDescriptorsOf(const std::string& path);

}  // namespace kvo::bootloadertms::testing
