#include "support/TestTerminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace kvo::bootloadertms::testing {
namespace {

TEST(TestTerminalTest, CarriesBytesAndSettings) {
  const TestTerminal terminal;
  termios settings = terminal.Settings();
  ::cfmakeraw(&settings);
  terminal.SetSettings(settings);
  const int near_end = ::open(terminal.Path().c_str(), O_RDWR | O_NOCTTY);
  ASSERT_NE(near_end, -1);
  EXPECT_EQ(::write(near_end, "to the far end", 14), 14);
  EXPECT_EQ(terminal.Receive(14), "to the far end");

  terminal.Send("X");
  char byte = 0;
  EXPECT_EQ(::read(near_end, &byte, 1), 1);
  EXPECT_EQ(byte, 'X');

  termios seen{};
  EXPECT_EQ(::tcgetattr(near_end, &seen), 0);
  EXPECT_EQ(seen.c_lflag, settings.c_lflag);
  ::close(near_end);
}

TEST(TestTerminalTest, WaitsUntilTheNearEndHasReadAll) {
  const TestTerminal terminal;
  termios settings = terminal.Settings();
  ::cfmakeraw(&settings);
  terminal.SetSettings(settings);
  const int near_end = ::open(terminal.Path().c_str(), O_RDWR | O_NOCTTY);
  ASSERT_NE(near_end, -1);
  terminal.Send("XY");
  std::atomic<bool> waiting = true;
  std::thread waiter([&] {
    terminal.WaitUntilRead();
    waiting = false;
  });
  std::string bytes(2, '\0');
  EXPECT_EQ(::read(near_end, bytes.data(), 1), 1);
  EXPECT_TRUE(waiting);
  EXPECT_EQ(::read(near_end, &bytes[1], 1), 1);
  waiter.join();
  EXPECT_EQ(bytes, "XY");
  ::close(near_end);
}

TEST(TestTerminalTest, ReceiveEndsAtItsLimit) {
  EXPECT_EQ(TestTerminal().Receive(1, std::chrono::milliseconds(1)), "");
}

TEST(TestTerminalTest, HangUpTakesTheNearEndAway) {
  TestTerminal terminal;
  const int near_end = ::open(terminal.Path().c_str(), O_RDWR | O_NOCTTY);
  ASSERT_NE(near_end, -1);
  terminal.HangUp();
  EXPECT_EQ(::write(near_end, "x", 1), -1);
  ::close(near_end);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
