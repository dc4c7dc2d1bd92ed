#include "support/RecordedSystemCalls.h"

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace kvo::bootloadertms::testing {
namespace {

using Texts = std::vector<std::string>;

// What is not seen can't fail a test.
TEST(RecordedSystemCallsTest, EachCallIsSeen) {
  const RecordedSystemCalls calls;
  volatile int flags = O_WRONLY;
  termios settings{};
  EXPECT_EQ(::open("/dev/no-such-file", O_RDWR | O_NOCTTY | O_SYNC), -1);
  EXPECT_EQ(::open("/dev/no-such-file", flags), -1);
  EXPECT_EQ(::write(-1, "a\0b", 3), -1);
  EXPECT_EQ(::tcflush(-1, TCIOFLUSH), -1);
  EXPECT_EQ(::tcgetattr(-1, &settings), -1);
  EXPECT_EQ(::tcsetattr(-1, TCSADRAIN, &settings), -1);
  EXPECT_EQ(::close(-1), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(::pclose(::popen("exit 0", "r")), 0);
  EXPECT_EQ(calls.Texts(),
            (Texts{R"(open("/dev/no-such-file", 0x101102))", R"(open("/dev/no-such-file", 0x1))",
                   std::string("write(-1, \"a\0b\", 3)", 19), "tcflush(-1, 2)", "tcgetattr(-1)",
                   "tcsetattr(-1, 1)", "close(-1)", R"(popen("exit 0", "r"))"}));
}

TEST(RecordedSystemCallsTest, CallsFailOnceOrFromOneOn) {
  RecordedSystemCalls calls;
  calls.Fail("tcflush", 2, EIO);
  calls.Fail("", 4, ENOSPC, true);
  ::tcflush(-1, TCIFLUSH);
  EXPECT_EQ(errno, EBADF);
  ::tcflush(-1, TCIFLUSH);
  EXPECT_EQ(errno, EIO);
  ::tcflush(-1, TCIFLUSH);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(::open("/dev/null", O_RDWR), -1);
  EXPECT_EQ(::popen(":", "r"), nullptr);
  EXPECT_EQ(errno, ENOSPC);
}

TEST(RecordedSystemCallsTest, AFailureThatDoesNotComeFailsTheTest) {
  EXPECT_NONFATAL_FAILURE(RecordedSystemCalls().Fail("write", 1, EIO),
                          "call 1 of write did not come");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
