#pragma once

#include <cstdint>
#include <string>

namespace kvo::bootloadertms {

// A board that images are made for, with its application: a row of the table in
// BoardDefinition.cpp. Any other value is as good as `kNone`.
enum class BoardKind : std::int32_t { kNone = 0 };

// What packet 0 tells the bootloader about an image, so that it can refuse one that is not its own.
class BoardDefinition {
 public:
  explicit BoardDefinition(BoardKind kind);

  // The kind that the name of an image file (without its folder) selects by the two characters
  // after its last "_", or its first two when it has none; their case doesn't matter.
  // Throws `std::runtime_error` "No definition associate with file name. ie : image_d.bin for
  // QDL-R2 board" when they select none.
  explicit BoardDefinition(const std::string& file_name);

  BoardKind GetKind() const;

  // Each is "BOARD UNKNOWN" for a kind that is no board.
  std::string GetBoardName() const;
  std::string GetApplicationName() const;
  std::string GetVersion() const;

 private:
  BoardKind kind_ = BoardKind::kNone;
};

}  // namespace kvo::bootloadertms
