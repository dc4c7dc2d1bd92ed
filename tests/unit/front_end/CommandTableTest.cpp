#include "front_end/Commands.h"

#include <gtest/gtest.h>

namespace kvo::bootloadertms {
namespace {

TEST(CommandTableTest, RowsOfOneCodeAreOneCommand) {
  for (const Command& row : Commands()) {
    const Command* found = FindCommand(row.code);
    ASSERT_NE(found, nullptr) << row.code;
    EXPECT_EQ(found->run, row.run) << row.usage_label;
    EXPECT_STREQ(found->progress_label, row.progress_label) << row.usage_label;
    EXPECT_EQ(found->shows_typed_text, row.shows_typed_text) << row.usage_label;
  }
}

TEST(CommandTableTest, AnyOtherCodeIsNone) { EXPECT_EQ(FindCommand(0x31), nullptr); }

}  // namespace
}  // namespace kvo::bootloadertms
