#pragma once

#include <filesystem>
#include <string>

#include "unit/simulator/Bytes.h"

namespace kvo::boardsimulator {

// A new folder of its own, removed with all it holds at the end.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  std::string PathOf(const std::string& name) const { return (path_ / name).string(); }
  std::size_t CountFiles() const;

 private:
  std::filesystem::path path_;
};

Bytes ReadFile(const std::string& path);
std::string ReadTextFile(const std::string& path);
void WriteFile(const std::string& path, const Bytes& content);

}  // namespace kvo::boardsimulator
