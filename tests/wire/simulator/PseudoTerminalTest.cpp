#include "simulator/PseudoTerminal.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <thread>

#include "unit/simulator/ChildProcess.h"
#include "unit/simulator/HostPort.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;

class PseudoTerminalTest : public testing::Test {
 protected:
  HostPort OpenHost() { return HostPort::Open(terminal_.SlavePath()); }
  Bytes Read(TimePoint until) {
    std::array<std::uint8_t, 64> buffer{};
    const std::size_t count = terminal_.Read(buffer, until);
    return {buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count)};
  }
  // Waits until the terminal has noticed that no host has it open.
  void NoticeThatNobodyIsThere() { EXPECT_EQ(ToHex(Read(terminal_.Now() + milliseconds(20))), ""); }

  SocketPair stop_;
  PseudoTerminal terminal_{stop_.first.Get()};
};

TEST_F(PseudoTerminalTest, PathIsThatOfATerminal) {
  HostPort host = OpenHost();
  EXPECT_EQ(terminal_.SlavePath().rfind("/dev/", 0), 0U) << terminal_.SlavePath();
}

TEST_F(PseudoTerminalTest, BytesPassUnchangedBothWays) {
  HostPort host = OpenHost();
  Bytes all_values(256);
  for (std::size_t value = 0; value < 256; ++value) {
    all_values[value] = static_cast<std::uint8_t>(value);
  }
  host.Send(all_values);
  Bytes received;
  while (received.size() < 256) received = received + Read(kNever);
  EXPECT_EQ(received, all_values);
  terminal_.Write(all_values);
  EXPECT_EQ(host.Receive(256), all_values);
}

TEST_F(PseudoTerminalTest, EachDepartureOfAHostIsCounted) {
  NoticeThatNobodyIsThere();
  EXPECT_EQ(terminal_.Departures(), 0U);
  for (std::uint64_t departures = 1; departures <= 3; ++departures) {
    HostPort host = OpenHost();
    EXPECT_EQ(ToHex(Read(terminal_.Now())), "");
    EXPECT_EQ(terminal_.Departures(), departures - 1);
    host.Close();
    NoticeThatNobodyIsThere();
    EXPECT_EQ(terminal_.Departures(), departures);
  }
}

TEST_F(PseudoTerminalTest, HostThatWritesAndLeavesAtOnceIsCounted) {
  OpenHost().Send(FromHex("30"));
  EXPECT_EQ(ToHex(Read(kNever)), "30");
  NoticeThatNobodyIsThere();
  EXPECT_EQ(terminal_.Departures(), 1U);
}

TEST_F(PseudoTerminalTest, WaitsForAHostThatComesLater) {
  std::thread late_host([this] {
    std::this_thread::sleep_for(milliseconds(30));
    HostPort host = OpenHost();
    host.Send(FromHex("30"));
  });
  EXPECT_EQ(ToHex(Read(kNever)), "30");
  late_host.join();
}

TEST_F(PseudoTerminalTest, DeadlinePassesWithoutAHost) {
  for (int time = 0; time < 2; ++time) {
    const TimePoint until = terminal_.Now() + milliseconds(20);
    EXPECT_EQ(ToHex(Read(until)), "");
    EXPECT_GE(terminal_.Now(), until);
    OpenHost().Close();
  }
}

TEST_F(PseudoTerminalTest, ServesOneHostAfterTheOther) {
  for (const std::string byte : {"31", "32", "33"}) {
    {
      HostPort host = OpenHost();
      host.Send(FromHex(byte));
      EXPECT_EQ(ToHex(Read(kNever)), byte);
      terminal_.Write(FromHex("06"));
      EXPECT_EQ(ToHex(host.Receive(1)), "06");
    }
    NoticeThatNobodyIsThere();
  }
}

TEST_F(PseudoTerminalTest, LastBytesOfAHostThatLeftAreStillRead) {
  {
    HostPort host = OpenHost();
    host.Send(FromHex("36"));
  }
  EXPECT_EQ(ToHex(Read(kNever)), "36");
}

TEST_F(PseudoTerminalTest, WritingWithoutAHostIsLost) {
  OpenHost().Close();
  NoticeThatNobodyIsThere();
  EXPECT_NO_THROW(terminal_.Write(FromHex("42")));
  HostPort host = OpenHost();
  terminal_.Write(FromHex("43"));
  EXPECT_EQ(ToHex(host.Receive(1)), "43");
}

TEST_F(PseudoTerminalTest, NextHostDoesNotGetWhatTheLastLeftUnread) {
  {
    HostPort host = OpenHost();
    host.Send(FromHex("30"));
    EXPECT_EQ(ToHex(Read(kNever)), "30");
    terminal_.Write(FromHex("41 42"));
    EXPECT_EQ(ToHex(host.Receive(1)), "41");
  }
  NoticeThatNobodyIsThere();
  HostPort host = OpenHost();
  terminal_.Write(FromHex("43"));
  EXPECT_EQ(ToHex(host.Receive(1)), "43");
}

TEST_F(PseudoTerminalTest, HostThatDoesNotReadCannotHoldUpTheBoard) {
  HostPort host = OpenHost();
  for (int time = 0; time < 200; ++time) terminal_.Write(Bytes(4096, 0x55));
  EXPECT_FALSE(host.ReceiveWhatIsThere().empty());
}

TEST_F(PseudoTerminalTest, StopEndsTheWaitForAHost) {
  ASSERT_EQ(::write(stop_.second.Get(), "x", 1), 1);
  EXPECT_THROW(Read(kNever), ServingEnded);
  EXPECT_THROW(terminal_.WaitUntil(kNever), ServingEnded);
}

}  // namespace
}  // namespace kvo::boardsimulator
