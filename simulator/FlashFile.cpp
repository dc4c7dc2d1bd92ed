#include "simulator/FlashFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace kvo::boardsimulator {
namespace {

bool WriteWhole(const std::string& path, std::span<const std::uint8_t> image) {
  const std::vector<char> characters(image.begin(), image.end());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(characters.data(), static_cast<std::streamsize>(characters.size()));
  file.close();
  return file.good();
}

// Replacing a device or a pipe would take it away from everybody else.
void RefuseWhatIsNoFile(const std::string& path) {
  std::error_code ignored;
  const std::filesystem::file_status status = std::filesystem::symlink_status(path, ignored);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    throw std::runtime_error("cannot write the flash file " + path +
                             ": something that is no regular file stands there");
  }
}

}  // namespace

void WriteFlashFile(const std::string& path, std::span<const std::uint8_t> image) {
  RefuseWhatIsNoFile(path);
  const std::string unfinished = path + ".part";
  if (WriteWhole(unfinished, image) && std::rename(unfinished.c_str(), path.c_str()) == 0) {
    return;
  }
  const std::string reason = std::strerror(errno);
  std::error_code ignored;
  std::filesystem::remove(unfinished, ignored);
  throw std::runtime_error("cannot write the flash file " + path + ": " + reason);
}

}  // namespace kvo::boardsimulator
