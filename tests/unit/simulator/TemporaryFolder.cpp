#include "unit/simulator/TemporaryFolder.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace kvo::boardsimulator {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() {
  std::string path = (fs::temp_directory_path() / "kvo-simulator-XXXXXX").string();
  if (::mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary folder");
  path_ = path;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::size_t TemporaryFolder::CountFiles() const {
  const auto count = std::distance(fs::directory_iterator(path_), fs::directory_iterator());
  return static_cast<std::size_t>(count);
}

Bytes ReadFile(const std::string& path) { return FromText(ReadTextFile(path)); }

std::string ReadTextFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

void WriteFile(const std::string& path, const Bytes& content) {
  std::ofstream file(path, std::ios::binary);
  file << std::string(content.begin(), content.end());
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace kvo::boardsimulator
