#include "support/CapturedStream.h"

#include <gtest/gtest.h>

#include <sstream>

namespace kvo::bootloadertms::testing {
namespace {

TEST(CapturedStreamTest, TakesTextAndTellsWhereItWasFlushed) {
  std::ostringstream stream;
  {
    const CapturedStream captured(stream);
    stream << "one" << std::flush << " two" << 3 << std::endl;
    EXPECT_EQ(captured.Text(), "one two3\n");
    EXPECT_EQ(captured.TextWithFlushes(), "one<flush> two3\n<flush>");
  }
  EXPECT_EQ(stream.str(), "");
}

TEST(CapturedStreamTest, GivesTheStreamItsBufferBack) {
  std::ostringstream stream;
  { const CapturedStream captured(stream); }
  stream << "later";
  EXPECT_EQ(stream.str(), "later");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
