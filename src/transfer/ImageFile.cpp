#include "transfer/ImageFile.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "transfer/YmodemProtocol.h"

namespace kvo::bootloadertms {

namespace {

constexpr std::uint8_t kErasedFlash = 0xFF;

[[noreturn]] void ThrowUnreadable(const std::string& path) {
  throw std::runtime_error("Unable to read file : " + path);
}

[[noreturn]] void ThrowUnopened(const std::string& path) {
  throw std::runtime_error("Unable to open file : " + path);
}

// A directory can be opened like a file, and where it ends depends on the file system. A pipe can't
// be opened at its end, and opening it would block until a writer appears.
void RejectDirectoryOrPipe(const std::string& path) {
  std::error_code ignored;
  const std::filesystem::file_status status = std::filesystem::status(path, ignored);
  if (std::filesystem::is_directory(status)) {
    ThrowUnreadable(path);
  }
  if (std::filesystem::is_fifo(status)) {
    ThrowUnopened(path);
  }
}

std::uint32_t LengthFromPosition(std::ifstream& file, const std::string& path) {
  const std::streamoff end = file.tellg();
  if (end < 0 || end > std::numeric_limits<std::uint32_t>::max()) {
    ThrowUnreadable(path);
  }
  return static_cast<std::uint32_t>(end);
}

void ReadWhole(std::ifstream& file, std::uint8_t* content, std::uint32_t length,
               const std::string& path) {
  file.seekg(0);
  file.read(reinterpret_cast<char*>(content), length);
  const bool complete = file.good();
  if (!complete || file.peek() != std::ifstream::traits_type::eof() || file.bad()) {
    ThrowUnreadable(path);
  }
}

static_assert(sizeof(std::size_t) > sizeof(std::uint32_t), "whole blocks of any length fit");

std::size_t WholeBlocksSize(std::uint32_t length) {
  const std::size_t blocks = (std::size_t{length} + ymodem::kBlockSize - 1) / ymodem::kBlockSize;
  return blocks * ymodem::kBlockSize;
}

std::string BaseName(const std::string& path) {
  const std::size_t separator = path.find_last_of("/\\");
  return separator == std::string::npos ? path : path.substr(separator + 1);
}

}  // namespace

void ImageFile::Read(const std::string& path) {
  RejectDirectoryOrPipe(path);
  std::ifstream file(path, std::ios::in | std::ios::binary | std::ios::ate);
  if (!file) {
    ThrowUnopened(path);
  }
  const std::uint32_t length = LengthFromPosition(file, path);
  const std::size_t size = WholeBlocksSize(length);
  auto content = std::make_unique_for_overwrite<std::uint8_t[]>(size);
  ReadWhole(file, content.get(), length, path);
  std::fill(content.get() + length, content.get() + size, kErasedFlash);

  file_name_ = BaseName(path);
  length_ = length;
  content_ = std::move(content);
}

std::string ImageFile::GetFileName() const { return file_name_; }

std::uint32_t ImageFile::GetLength() const { return length_; }

const std::uint8_t* ImageFile::GetContent() const { return content_.get(); }

}  // namespace kvo::bootloadertms
