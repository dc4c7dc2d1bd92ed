#include <algorithm>
#include <string_view>

#include "boards/Plan.h"

namespace kvo::boards {

namespace {

constexpr std::string_view kHexDigits = "0123456789abcdefABCDEF";

bool IsHex(std::string_view text) {
  return !text.empty() && text.find_first_not_of(kHexDigits) == std::string_view::npos;
}

// Takes the first line that isn't blank off `content`, without the blanks around it, whatever ends
// lines.
std::string_view TakeLine(std::string_view& content) {
  content.remove_prefix(std::min(content.find_first_not_of(" \t\r\n"), content.size()));
  const std::size_t length = std::min(content.find_first_of("\r\n"), content.size());
  std::string_view line = content.substr(0, length);
  content.remove_prefix(length);
  line.remove_suffix(line.size() - std::min(line.find_last_not_of(" \t") + 1, line.size()));
  return line;
}

bool IsElf(std::string_view content) {
  return content.starts_with(
      "\x7F"
      "ELF");
}

// A mark, and pairs of digits after it. A record whose count or checksum is wrong is still none of
// a raw binary's.
bool IsRecord(std::string_view line, std::size_t mark_size, std::size_t least_digits) {
  const std::size_t digits = line.size() - mark_size;
  return digits >= least_digits && digits % 2 == 0 && IsHex(line.substr(mark_size));
}

// ":"; a count, two bytes of address, a type and a checksum, besides the data.
bool IsIntelHex(std::string_view content) {
  const std::string_view line = TakeLine(content);
  return line.starts_with(':') && IsRecord(line, 1, 10);
}

// "S" and the kind; a count, at least two bytes of address and a checksum, besides the data.
bool IsSRecord(std::string_view content) {
  const std::string_view line = TakeLine(content);
  return line.size() >= 2 && line[0] == 'S' && line[1] >= '0' && line[1] <= '9' &&
         IsRecord(line, 2, 8);
}

// A line of bytes as pairs of hexadecimal digits, a blank after each.
bool IsListOfBytes(std::string_view line) {
  while (line.size() > 2 && IsHex(line.substr(0, 2)) && line[2] == ' ') {
    line.remove_prefix(3);
  }
  return line.size() == 2 && IsHex(line);
}

// "@" and an address; after it a line of bytes, or the "q" at the end.
bool IsTiTxt(std::string_view content) {
  constexpr std::size_t kLongestAddress = 8;
  const std::string_view address = TakeLine(content);
  if (!address.starts_with('@') || address.size() > 1 + kLongestAddress ||
      !IsHex(address.substr(1))) {
    return false;
  }
  const std::string_view next = TakeLine(content);
  return next == "q" || IsListOfBytes(next);
}

// Numbers of a COFF file's header, whose byte order is the target's.
class CoffHeader {
 public:
  CoffHeader(std::string_view content, bool big_endian)
      : content_(content), big_endian_(big_endian) {}

  unsigned Word(std::size_t offset) const {
    const auto first = static_cast<unsigned char>(content_[offset]);
    const auto second = static_cast<unsigned char>(content_[offset + 1]);
    return big_endian_ ? first * 256U + second : second * 256U + first;
  }

 private:
  std::string_view content_;
  bool big_endian_;
};

// A raw image may begin with a version id by chance, hardly with all of this. What the header says
// of the file's size doesn't count: a file that was cut off is no raw binary either.
bool IsTiCoff(std::string_view content, bool big_endian) {
  constexpr std::size_t kHeaderSize = 22;
  constexpr unsigned kOptionalHeaderSize = 28;
  if (content.size() < kHeaderSize) {
    return false;
  }
  const CoffHeader header(content, big_endian);
  const unsigned version = header.Word(0);
  const unsigned sections = header.Word(2);
  const unsigned optional_size = header.Word(16);
  const unsigned target = header.Word(20);
  return version >= 0xC0 && version <= 0xC2 && target >= 0x92 && target <= 0xA0 && sections > 0 &&
         (optional_size == 0 || optional_size == kOptionalHeaderSize);
}

}  // namespace

std::string LooksLike(std::string_view content) {
  if (IsElf(content)) {
    return "an ELF file";
  }
  if (IsIntelHex(content)) {
    return "an Intel HEX file";
  }
  if (IsSRecord(content)) {
    return "a Motorola S-record file";
  }
  if (IsTiTxt(content)) {
    return "a TI-TXT file";
  }
  if (IsTiCoff(content, false) || IsTiCoff(content, true)) {
    return "a TI COFF file";
  }
  return "";
}

}  // namespace kvo::boards
