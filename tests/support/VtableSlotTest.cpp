#include "support/VtableSlot.h"

#include <gtest/gtest.h>

namespace kvo::bootloadertms::testing {
namespace {

class Base {
 public:
  virtual int First() { return 1; }
  virtual int Second() { return 2; }
  int Plain() { return 3; }
  virtual ~Base() = default;
};

class Derived : public Base {
 public:
  int Second() override { return 4; }
  virtual int Own() { return 5; }
};

TEST(VtableSlotTest, OperationsCountFromZero) {
  EXPECT_EQ(VtableSlot(&Base::First), 0U);
  EXPECT_EQ(VtableSlot(&Base::Second), 1U);
}

TEST(VtableSlotTest, AnOverrideKeepsItsPlaceAndNewOnesFollowBothDestructors) {
  EXPECT_EQ(VtableSlot(&Derived::Second), 1U);
  EXPECT_EQ(VtableSlot(&Derived::Own), 4U);
}

TEST(VtableSlotTest, AnOperationThatIsNotVirtualIsRefused) {
  EXPECT_THROW(VtableSlot(&Base::Plain), std::logic_error);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
