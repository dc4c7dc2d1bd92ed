#include "simulator/PacketZero.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <utility>

namespace kvo::boardsimulator {
namespace {

constexpr std::size_t kPacketZeroSize = 128;
constexpr std::size_t kTargetOffset = 17;
constexpr std::size_t kNameSize = 32;
constexpr std::size_t kIdentificationPieceSize = 31;
constexpr std::size_t kMostLengthDigits = 10;

bool IsZero(std::span<const std::uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

// The bytes up to the first 0x00, or all of them.
std::string TextIn(std::span<const std::uint8_t> field) {
  return {field.begin(), std::find(field.begin(), field.end(), std::uint8_t{0})};
}

std::optional<std::uint64_t> ReadLength(std::span<const std::uint8_t> field) {
  const std::string digits = TextIn(field);
  if (digits.empty() || digits.size() > kMostLengthDigits) {
    return std::nullopt;
  }
  if (digits.size() > 1 && digits.front() == '0') {
    return std::nullopt;
  }
  if (!IsZero(field.subspan(digits.size()))) {
    return std::nullopt;
  }
  std::uint64_t length = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, length);
  if (stop != end || error != std::errc()) {
    return std::nullopt;
  }
  return length;
}

bool HoldsExactly(std::span<const std::uint8_t> field, const std::string& text) {
  const std::string found = TextIn(field);
  return found == text && found.size() < field.size() && IsZero(field.subspan(found.size()));
}

std::string WithoutPieceBlanks(const std::string& text) {
  std::string joined;
  for (std::size_t begin = 0; begin < text.size(); begin += kIdentificationPieceSize + 1) {
    joined += text.substr(begin, kIdentificationPieceSize);
  }
  return joined;
}

bool HasPieceBlanks(const std::string& text) {
  for (std::size_t blank = kIdentificationPieceSize; blank < text.size();
       blank += kIdentificationPieceSize + 1) {
    if (text[blank] != ' ') {
      return false;
    }
  }
  return true;
}

PacketZeroJudgement Refusal(std::string objection) { return {std::nullopt, std::move(objection)}; }

}  // namespace

BoardPacketZero::BoardPacketZero(BoardNames names, std::string identification)
    : names_(std::move(names)), identification_(std::move(identification)) {}

PacketZeroJudgement BoardPacketZero::Judge(std::span<const std::uint8_t> data) const {
  if (data.size() != kPacketZeroSize) {
    return Refusal("not 128 bytes of data");
  }
  const auto length = ReadLength(data.first(kTargetOffset));
  if (!length) {
    return Refusal("no sound length");
  }
  const auto target = data.subspan(kTargetOffset);
  if (IsOwnIdentification(target)) {
    return {length, ""};
  }
  const std::string objection = ObjectionToNames(target);
  return objection.empty() ? PacketZeroJudgement{length, ""} : Refusal(objection);
}

bool BoardPacketZero::IsClosing(std::span<const std::uint8_t> data) const {
  return data.size() == kPacketZeroSize && IsZero(data);
}

std::string BoardPacketZero::ObjectionToNames(std::span<const std::uint8_t> target) const {
  const std::array<std::pair<std::string_view, const std::string*>, 3> fields{
      {{"board", &names_.board},
       {"application", &names_.application},
       {"version", &names_.version}}};
  for (const auto& [what, name] : fields) {
    const auto field = target.first(kNameSize);
    if (!HoldsExactly(field, *name)) {
      return std::string(what) + " '" + TextIn(field) + "' is not '" + *name + "'";
    }
    target = target.subspan(kNameSize);
  }
  return IsZero(target) ? "" : "bytes after the names";
}

bool BoardPacketZero::IsOwnIdentification(std::span<const std::uint8_t> target) const {
  const std::string text = TextIn(target);
  return !identification_.empty() && HasPieceBlanks(text) && IsZero(target.subspan(text.size())) &&
         WithoutPieceBlanks(text) == identification_;
}

}  // namespace kvo::boardsimulator
