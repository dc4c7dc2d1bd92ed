#include "support/RuntimeErrorOf.h"

#include <gtest/gtest.h>

#include <system_error>

namespace kvo::bootloadertms::testing {
namespace {

TEST(RuntimeErrorOfTest, IsTheTextOrNoError) {
  EXPECT_EQ(RuntimeErrorOf([] { throw std::runtime_error("text"); }), "text");
  EXPECT_EQ(RuntimeErrorOf([] { throw std::system_error(EFAULT, std::system_category()); }),
            "Bad address");
  EXPECT_EQ(RuntimeErrorOf([] {}), "no error");
}

TEST(RuntimeErrorOfTest, OtherExceptionsPass) {
  EXPECT_THROW(RuntimeErrorOf([] { throw std::logic_error("text"); }), std::logic_error);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
