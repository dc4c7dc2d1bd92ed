#include "faults/FailingSystemCalls.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace kvo::bootloadertms::testing {
namespace {

TEST(FailingSystemCallsTest, HandsCallsOnAndTellsTheirNames) {
  const FailingSystemCalls calls;
  const int descriptor = ::open("/dev/null", O_RDWR);
  EXPECT_NE(descriptor, -1);
  EXPECT_EQ(::close(descriptor), 0);
  std::FILE* const pipe = ::popen(":", "r");
  EXPECT_NE(pipe, nullptr);
  ::pclose(pipe);
  EXPECT_EQ(calls.Names(), "open close popen ");
}

TEST(FailingSystemCallsTest, LetsOneCallFailWithEio) {
  const FailingSystemCalls calls(2);
  const int descriptor = ::open("/dev/null", O_RDWR);
  errno = 0;
  EXPECT_EQ(::close(descriptor), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(::close(descriptor), 0) << "it was not closed before";
}

TEST(FailingSystemCallsTest, LetsAllCallsFailFromOneOn) {
  const FailingSystemCalls calls(1, true);
  termios settings{};
  EXPECT_EQ(::open("/dev/null", O_RDWR), -1);
  EXPECT_EQ(::popen(":", "r"), nullptr);
  EXPECT_EQ(::tcgetattr(0, &settings), -1);
  EXPECT_EQ(::tcsetattr(0, TCSANOW, &settings), -1);
  EXPECT_EQ(::tcflush(0, TCIFLUSH), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(calls.Names(), "open popen tcgetattr tcsetattr tcflush ");
}

TEST(FailingSystemCallsTest, WithoutAnObjectNothingFails) {
  { const FailingSystemCalls calls(1, true); }
  const int descriptor = ::open("/dev/null", O_RDWR);
  EXPECT_NE(descriptor, -1);
  EXPECT_EQ(::close(descriptor), 0);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
