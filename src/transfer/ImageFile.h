#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace kvo::bootloadertms {

// A firmware image, read whole into memory. The object owns the memory.
class ImageFile {
 public:
  // No image: empty name, length 0, no content.
  ImageFile() = default;
  ImageFile(const ImageFile&) = delete;
  ImageFile& operator=(const ImageFile&) = delete;

  // Reads the file. Throws `std::runtime_error` "Unable to open file : " and the path when it can't
  // be opened or is a pipe, and "Unable to read file : " and the path when it can't be read whole:
  // a directory, a read that ends too soon or too late, a length that 32 bits don't hold. After a
  // failure the object is as it was.
  void Read(const std::string& path);

  // The path's part after its last "/" or "\".
  std::string GetFileName() const;

  // The file's length in bytes.
  std::uint32_t GetLength() const;

  // The image, followed by bytes 0xFF up to the end of its last 1024-byte block, so that whole
  // blocks can be sent; nothing after them may be read. The pointer lives as long as the object;
  // null before `Read`.
  const std::uint8_t* GetContent() const;

 private:
  std::string file_name_;
  std::uint32_t length_ = 0;
  std::unique_ptr<std::uint8_t[]> content_;
};

}  // namespace kvo::bootloadertms
