#include "boards/Events.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace kvo::boards {
namespace {

TEST(EventsTest, ATextLongerThanAnEventHoldsIsCut) {
  Event event;
  event.SetText(std::string(1025, 'x'));
  EXPECT_EQ(event.Text(), std::string(1024, 'x'));
}

TEST(EventsTest, ReasonsAndFieldsHaveNames) {
  std::vector<std::string_view> names;
  for (int reason = 0; reason <= static_cast<int>(Reason::kCrashed); ++reason) {
    names.push_back(NameOf(static_cast<Reason>(reason)));
  }
  for (std::size_t field = 0; field < kFields; ++field) {
    names.push_back(NameOf(static_cast<Field>(field)));
  }
  EXPECT_THAT(names,
              ::testing::ElementsAre("missing", "permission", "busy", "not-a-terminal",
                                     "unreachable", "silent", "refused", "broken", "rejected",
                                     "not-started", "deadline", "lost", "interrupted", "crashed",
                                     "state", "serial", "hardware", "product", "version_upper",
                                     "version_lower", "boot_status", "application_information"));
}

// The bytes of an event may be anything.
TEST(EventsTest, AnEventIsValidUpToTheLastOfEachValue) {
  Event last;
  last.kind = EventKind::kFinished;
  last.step = Step::kAsking;
  last.outcome = Outcome::kFailed;
  last.reason = Reason::kCrashed;
  last.field = Field::kApplicationInformation;
  last.text_length = 1024;
  EXPECT_TRUE(last.IsValid());
  const auto is_valid_with_more = [&last](auto Event::*value) {
    Event event = last;
    event.*value = static_cast<std::remove_reference_t<decltype(event.*value)>>(
        static_cast<std::uint32_t>(event.*value) + 1);
    return event.IsValid();
  };
  EXPECT_FALSE(is_valid_with_more(&Event::kind));
  EXPECT_FALSE(is_valid_with_more(&Event::step));
  EXPECT_FALSE(is_valid_with_more(&Event::outcome));
  EXPECT_FALSE(is_valid_with_more(&Event::reason));
  EXPECT_FALSE(is_valid_with_more(&Event::field));
  EXPECT_FALSE(is_valid_with_more(&Event::text_length));
}

}  // namespace
}  // namespace kvo::boards
