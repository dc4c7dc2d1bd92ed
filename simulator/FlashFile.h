#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace kvo::boardsimulator {

// Writes an image to the file at `path`, which is replaced in one go: whoever reads it finds the
// old or the whole new image. Throws std::runtime_error, and leaves an old file as it is, if that
// fails, or if something that is no regular file stands at the path.
void WriteFlashFile(const std::string& path, std::span<const std::uint8_t> image);

}  // namespace kvo::boardsimulator
