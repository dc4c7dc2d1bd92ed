#include "boards/Events.h"

#include <algorithm>

namespace kvo::boards {

namespace {

constexpr auto kReasonNames = std::to_array<std::string_view>({
    "missing",
    "permission",
    "busy",
    "not-a-terminal",
    "unreachable",
    "silent",
    "refused",
    "broken",
    "rejected",
    "not-started",
    "deadline",
    "lost",
    "interrupted",
    "crashed",
});

constexpr auto kFieldNames = std::to_array<std::string_view>({
    "state",
    "serial",
    "hardware",
    "product",
    "version_upper",
    "version_lower",
    "boot_status",
    "application_information",
});
static_assert(kFieldNames.size() == kFields);

}  // namespace

std::string_view NameOf(Reason reason) { return kReasonNames.at(static_cast<std::size_t>(reason)); }

std::string_view NameOf(Field field) { return kFieldNames.at(static_cast<std::size_t>(field)); }

void Event::SetText(std::string_view content) {
  text_length = static_cast<std::uint32_t>(std::min(content.size(), text.size()));
  std::copy_n(content.begin(), text_length, text.begin());
}

std::string_view Event::Text() const { return {text.data(), text_length}; }

bool Event::IsValid() const {
  return kind <= EventKind::kFinished && step <= Step::kAsking && outcome <= Outcome::kFailed &&
         reason <= Reason::kCrashed && field <= Field::kApplicationInformation &&
         text_length <= text.size();
}

}  // namespace kvo::boards
