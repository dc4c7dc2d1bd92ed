#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

#include "boards/ports/BoardPort.h"
#include "support/FakeTime.h"
#include "support/RecordedSystemCalls.h"
#include "support/TestTerminal.h"
#include "wire/boards/SocketPort.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::FakeTime;
using bootloadertms::testing::RecordedSystemCalls;
using bootloadertms::testing::TestTerminal;
using std::chrono::milliseconds;
using testing::SocketPair;

class GiveBackTest : public ::testing::Test {
 protected:
  GiveBackTest() {
    termios settings = terminal_.Settings();
    settings.c_lflag |= ECHO;
    terminal_.SetSettings(settings);
    port_ = MakePort(ParsePort(terminal_.Path()), 115200, milliseconds(0));
    port_->Open();
  }

  bool LineEchoes() const { return (terminal_.Settings().c_lflag & ECHO) != 0; }

  TestTerminal terminal_;
  std::unique_ptr<BoardPort> port_;
};

TEST_F(GiveBackTest, ABoardInATransferIsSentCancelAndTheLineIsAsItWasFound) {
  EXPECT_FALSE(LineEchoes());
  GiveBack(port_->GetBorrowed(), true);
  port_->Write("end");
  EXPECT_EQ(terminal_.Receive(5),
            "\x18\x18"
            "end");
  EXPECT_TRUE(LineEchoes());
}

TEST_F(GiveBackTest, ABoardThatIsInNoTransferIsSentNothing) {
  GiveBack(port_->GetBorrowed(), false);
  port_->Write("end");
  EXPECT_EQ(terminal_.Receive(3), "end");
  EXPECT_TRUE(LineEchoes());
}

TEST_F(GiveBackTest, OthersMayOpenThePortThoughItIsStillOpen) {
  const Borrowed borrowed = port_->GetBorrowed();
  GiveBack(borrowed, false);
  int is_exclusive = 1;
  ASSERT_EQ(::ioctl(borrowed.descriptor, TIOCGEXCL, &is_exclusive), 0);
  EXPECT_EQ(is_exclusive, 0);
}

TEST_F(GiveBackTest, CancelComesAfterWhatALineThatIsStuckHasDiscarded) {
  const std::string filling(4096, 'x');
  const int line = port_->GetBorrowed().descriptor;
  while (::write(line, filling.data(), filling.size()) > 0) {
  }
  GiveBack(port_->GetBorrowed(), true);
  std::string received = "x";
  while (received == "x") {
    received = terminal_.Receive(1);
  }
  EXPECT_EQ(received + terminal_.Receive(1), "\x18\x18");
}

TEST_F(GiveBackTest, ALineThatIsGoneIsNoMatterAndErrnoIsKept) {
  terminal_.HangUp();
  errno = ENOENT;
  GiveBack(port_->GetBorrowed(), true);
  EXPECT_EQ(errno, ENOENT);
}

TEST(GiveBackConnectionTest, WhatIsNotOpenYetIsLeftAlone) {
  const RecordedSystemCalls calls;
  GiveBack(Borrowed{.is_terminal = true}, true);
  EXPECT_TRUE(calls.Texts().empty());
}

// What comes meanwhile is taken.
TEST(GiveBackConnectionTest, CancelGoesOutAndThenTheEnd) {
  for (const bool in_transfer : {true, false}) {
    const SocketPair line;
    line.Send("unread");
    GiveBack({.descriptor = line.near.Get()}, in_transfer);
    if (in_transfer) {
      EXPECT_EQ(line.Receive(), "\x18\x18");
    }
    EXPECT_EQ(line.Receive(), "");
  }
}

TEST(GiveBackConnectionTest, GivingItBackOnceMoreIsNoMatter) {
  const SocketPair line;
  GiveBack({.descriptor = line.near.Get()}, false);
  GiveBack({.descriptor = line.near.Get()}, true);  // without a SIGPIPE
  EXPECT_EQ(line.Receive(), "");
}

// A socket tells how much the far end hasn't read, as a terminal tells what it hasn't sent.
class UnsentOutputTest : public ::testing::Test {
 protected:
  void Send(std::size_t count) const {
    const std::string bytes(count, 'x');
    ASSERT_EQ(::write(line_.near.Get(), bytes.data(), count), static_cast<ssize_t>(count));
  }

  // Gives the line back and returns how long that has slept; `sleeps_until_sent` is how often until
  // all has gone out.
  milliseconds GiveLineBack(int sleeps_until_sent) const {
    std::chrono::nanoseconds slept{0};
    const FakeTime time([&](std::chrono::nanoseconds asked) {
      if (--sleeps_until_sent == 0) {
        static_cast<void>(line_.Receive());
      }
      slept += asked;
      return asked;
    });
    GiveBack({.descriptor = line_.near.Get(), .is_terminal = true, .baud_rate = 9600}, false);
    return std::chrono::duration_cast<milliseconds>(slept);
  }

  const SocketPair line_{SOCK_STREAM};
};

TEST_F(UnsentOutputTest, NothingUnsentNeedsNoTime) { EXPECT_EQ(GiveLineBack(0), milliseconds(0)); }

TEST_F(UnsentOutputTest, TheLineKeepsItsSettingsUntilAllHasGoneOut) {
  Send(10);
  EXPECT_EQ(GiveLineBack(4), milliseconds(4 * 5 + 20));
}

TEST_F(UnsentOutputTest, AnInterruptedSleepGoesOn) {
  Send(10);
  std::vector<milliseconds> asked_for;
  const FakeTime time([&](std::chrono::nanoseconds asked) {
    asked_for.push_back(std::chrono::duration_cast<milliseconds>(asked));
    if (asked_for.size() == 2) {
      static_cast<void>(line_.Receive());
    }
    return asked_for.size() == 1 ? milliseconds(2) : asked;
  });
  GiveBack({.descriptor = line_.near.Get(), .is_terminal = true, .baud_rate = 9600}, false);
  EXPECT_EQ(asked_for, (std::vector{milliseconds(5), milliseconds(3), milliseconds(20)}));
}

TEST_F(UnsentOutputTest, WhatNeverGoesOutIsDiscarded) {
  Send(10);
  const RecordedSystemCalls calls;
  EXPECT_EQ(GiveLineBack(-1), milliseconds(400 + 20));
  EXPECT_EQ(calls.Texts().at(0), "tcflush(" + std::to_string(line_.near.Get()) + ", 1)");
}

TEST_F(UnsentOutputTest, WhatWouldTakeTooLongAtTheLinesSpeedIsDiscardedBeforeCancel) {
  Send(1000);
  const FakeTime time([](std::chrono::nanoseconds asked) { return asked; });
  Borrowed borrowed{.descriptor = line_.near.Get(), .is_terminal = true, .baud_rate = 1'000'000};
  const std::string number = std::to_string(borrowed.descriptor);
  const std::string cancel = "write(" + number + ", \"\x18\x18\", 2)";
  {
    const RecordedSystemCalls calls;
    GiveBack(borrowed, true);
    EXPECT_EQ(calls.Texts().at(0), cancel);
  }
  borrowed.baud_rate = 9600;
  const RecordedSystemCalls calls;
  GiveBack(borrowed, true);
  EXPECT_EQ(calls.Texts().at(0), "tcflush(" + number + ", 1)");
  EXPECT_EQ(calls.Texts().at(1), cancel);
}

}  // namespace
}  // namespace kvo::boards
