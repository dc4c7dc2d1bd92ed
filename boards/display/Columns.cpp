#include "boards/display/Columns.h"

#include <algorithm>

namespace kvo::boards {

namespace {

bool BeginsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80U; }

// Where in `text` the character after the first `columns` begins.
std::size_t EndOfColumns(const std::string& text, std::size_t columns) {
  std::size_t index = 0;
  for (; index < text.size(); ++index) {
    if (BeginsCharacter(text[index]) && columns-- == 0) {
      break;
    }
  }
  return index;
}

}  // namespace

std::size_t ColumnsOf(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), BeginsCharacter));
}

std::string CutTo(const std::string& text, std::size_t columns) {
  return text.substr(0, EndOfColumns(text, columns));
}

std::string Shortened(const std::string& text, std::size_t columns) {
  if (ColumnsOf(text) <= columns) {
    return text;
  }
  return CutTo(CutTo(text, std::max<std::size_t>(columns, 3) - 3) + "...", columns);
}

std::string EndOf(const std::string& text, std::size_t columns) {
  const std::size_t length = ColumnsOf(text);
  if (length <= columns) {
    return text;
  }
  return CutTo("..." + text.substr(EndOfColumns(text, length + 3 - columns)), columns);
}

std::string Padded(const std::string& text, std::size_t columns) {
  return text + std::string(columns - std::min(columns, ColumnsOf(text)), ' ');
}

std::string PaddedBefore(const std::string& text, std::size_t columns) {
  return std::string(columns - std::min(columns, ColumnsOf(text)), ' ') + text;
}

}  // namespace kvo::boards
