#include "boards/Events.h"

#include <gtest/gtest.h>

#include <string>

namespace kvo::boards {
namespace {

TEST(EventsTest, ATextLongerThanAnEventHoldsIsCut) {
  Event event;
  event.SetText(std::string(1025, 'x'));
  EXPECT_EQ(event.Text(), std::string(1024, 'x'));
}

}  // namespace
}  // namespace kvo::boards
