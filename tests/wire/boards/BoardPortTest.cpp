// What both kinds of port have in common.
#include "boards/ports/BoardPort.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/FakeTime.h"
#include "support/RuntimeErrorOf.h"
#include "wire/boards/FailingCall.h"
#include "wire/boards/SocketPort.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::FakeTime;
using bootloadertms::testing::RuntimeErrorOf;
using testing::FailingCall;
using testing::SocketPair;
using testing::SocketPort;

// Each test for a port that writes as to a terminal, and for one that writes as to a connection.
class BoardPortTest : public ::testing::TestWithParam<bool> {
 protected:
  BoardPortTest() : port_(std::move(line_.near), GetParam()) { port_.Open(); }

  void WriteBytes(const std::string& bytes) {
    for (const char byte : bytes) {
      port_.WriteByte(static_cast<std::uint8_t>(byte));
    }
  }

  SocketPair line_;
  SocketPort port_;
};

INSTANTIATE_TEST_SUITE_P(, BoardPortTest, ::testing::Bool(),
                         [](const auto& port) { return port.param ? "Terminal" : "Connection"; });

TEST_P(BoardPortTest, APacketIsOneWrite) {
  for (const std::string& packet :
       {"\x01" + std::string(132, '\x02'), "\x02" + std::string(1028, '\x01')}) {
    WriteBytes(packet.substr(0, packet.size() - 1));
    EXPECT_EQ(line_.Receive(), std::nullopt);
    WriteBytes(packet.substr(packet.size() - 1));
    EXPECT_EQ(line_.Receive(), packet);
  }
}

TEST_P(BoardPortTest, OtherBytesGoOutAsTheyCome) {
  for (const std::string byte : {"0", "\x04", "\x06", "\x18", "\x18", "C"}) {
    WriteBytes(byte);
    EXPECT_EQ(line_.Receive(), byte);
  }
}

TEST_P(BoardPortTest, WhatIsThereOfAPacketGoesOutBeforeAnyOtherOperation) {
  std::string answer;
  for (const std::function<void()>& operation : {
           std::function<void()>([this] { port_.ReadByte(); }),
           std::function<void()>([&] { port_.Read(answer); }),
           std::function<void()>([this] { port_.FlushInput(); }),
           std::function<void()>([this] { port_.Write("after"); }),
           std::function<void()>([this] { port_.WriteSlowly("a", 0); }),
           std::function<void()>([this] { port_.Close(); }),
       }) {
    WriteBytes("\x02half");
    EXPECT_TRUE(port_.HasKeptBytes());
    operation();
    EXPECT_FALSE(port_.HasKeptBytes());
    EXPECT_EQ(line_.Receive(), "\x02half");
    line_.Receive();
  }
}

TEST_P(BoardPortTest, AWriteTakesAllAtOnceAndASlowOneByteByByte) {
  EXPECT_EQ(port_.Write("\x01 is no packet here"), 19);
  EXPECT_EQ(line_.Receive(), "\x01 is no packet here");
  port_.WriteSlowly("\x01z", 0);
  EXPECT_EQ(line_.Receive(), "\x01");
  EXPECT_EQ(line_.Receive(), "z");
}

TEST_P(BoardPortTest, ASlowWritePausesAfterEachByte) {
  std::vector<std::chrono::nanoseconds> pauses;
  const FakeTime time([&pauses](std::chrono::nanoseconds asked) {
    pauses.push_back(asked);
    return asked;
  });
  port_.WriteSlowly("ab", 7);
  EXPECT_EQ(pauses, std::vector<std::chrono::nanoseconds>(2, std::chrono::milliseconds(7)));
}

TEST_P(BoardPortTest, AnAnswerInPiecesIsReadWholeAndEndsWithAZeroByte) {
  line_.Send("ping_");
  line_.Send("callback_");
  line_.Send("function");
  std::string answer = "former";
  port_.Read(answer);
  EXPECT_EQ(answer, std::string("ping_callback_function\0", 23));
}

TEST_P(BoardPortTest, AnAnswerEndsAtItsLineFeed) {
  line_.Send("on");
  line_.Send("e\n");
  line_.Send("two");
  std::string answer;
  port_.Read(answer);
  EXPECT_EQ(answer, std::string("one\n\0", 5));
  port_.Read(answer);
  EXPECT_EQ(answer, std::string("two\0", 4));
}

TEST_P(BoardPortTest, OneReadTakes255BytesAtMost) {
  line_.Send(std::string(200, 'a'));
  line_.Send(std::string(55, 'b'));
  line_.Send("c");
  std::string answer;
  port_.Read(answer);
  EXPECT_EQ(answer, std::string(200, 'a') + std::string(55, 'b') + '\0');
  port_.Read(answer);
  EXPECT_EQ(answer, std::string("c\0", 2));
}

TEST_P(BoardPortTest, NothingReadIsAnEmptyAnswer) {
  std::string answer = "former";
  port_.Read(answer);
  EXPECT_EQ(answer, "");
}

TEST_P(BoardPortTest, AByteOfZeroIsToldFromATimeOut) {
  line_.Send("A");
  line_.Send(std::string(1, '\0'));
  EXPECT_EQ(port_.ReadByte(), 'A');
  EXPECT_TRUE(port_.HasRead());
  EXPECT_EQ(port_.ReadByte(), 0);
  EXPECT_TRUE(port_.HasRead());
  EXPECT_EQ(port_.ReadByte(), 0);
  EXPECT_FALSE(port_.HasRead());
}

TEST_P(BoardPortTest, TheTimeOutIsWaitedFor) {
  port_.Close();
  SocketPair line;
  SocketPort port(std::move(line.near), GetParam());
  port.SetTimeout(50);
  port.Open();
  const auto start = std::chrono::steady_clock::now();
  port.ReadByte();
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
}

// For a signal handler.
int far_end_for_signals;
volatile std::sig_atomic_t signals_left;

TEST_P(BoardPortTest, SignalsDontEndAWait) {
  SocketPair line;
  far_end_for_signals = line.far.Get();
  signals_left = 3;
  SocketPort port(std::move(line.near), GetParam());
  port.SetTimeout(-1);
  port.Open();
  struct sigaction action {};
  struct sigaction former {};
  action.sa_handler = [](int) {
    signals_left = signals_left - 1;
    if (signals_left == 0) {
      [[maybe_unused]] const ssize_t sent = ::write(far_end_for_signals, "A", 1);
    }
  };
  ASSERT_EQ(::sigaction(SIGALRM, &action, &former), 0);
  const itimerval each_10_ms{.it_interval = {0, 10'000}, .it_value = {0, 10'000}};
  ASSERT_EQ(::setitimer(ITIMER_REAL, &each_10_ms, nullptr), 0);
  EXPECT_EQ(port.ReadByte(), 'A');
  const itimerval none{};
  ::setitimer(ITIMER_REAL, &none, nullptr);
  ::sigaction(SIGALRM, &former, nullptr);
}

TEST_P(BoardPortTest, WhatTheSystemDoesntTakeAtOnceFollows) {
  SocketPair line(SOCK_STREAM);
  SocketPort port(std::move(line.near), GetParam());
  port.Open();
  std::string bytes;
  const std::string filling(1000, 'x');
  while (::write(port.GetBorrowed().descriptor, filling.data(), filling.size()) == 1000) {
    bytes += filling;
  }
  const std::string text = std::string(999'999, 'a') + 'z';
  bytes += text;
  std::string received;
  std::thread far_end([&] {
    while (received.size() < bytes.size()) {
      received += line.Receive().value_or("");
    }
  });
  EXPECT_EQ(port.Write(text), 1'000'000);
  far_end.join();
  EXPECT_TRUE(received == bytes);
}

TEST_P(BoardPortTest, AFarEndThatIsGoneIsALostPort) {
  line_.Send("A");
  port_.ReadByte();
  line_.far.Close();
  std::string answer;
  for (const std::function<void()>& operation : {
           std::function<void()>([this] { port_.ReadByte(); }),
           std::function<void()>([&] { port_.Read(answer); }),
       }) {
    try {
      operation();
      ADD_FAILURE() << "no failure";
    } catch (const PortFailure& failure) {
      EXPECT_EQ(failure.GetReason(), Reason::kLost);
      EXPECT_STREQ(failure.what(), GetParam() ? "the port is gone: the other end hung up"
                                              : "the connection is lost: the other end hung up");
    }
    EXPECT_FALSE(port_.HasRead());
  }
}

TEST_P(BoardPortTest, CloseAndDestructorCloseTheDescriptor) {
  port_.Close();
  EXPECT_EQ(line_.Receive(), "");
  SocketPair line;
  {
    SocketPort port(std::move(line.near), GetParam());
    port.Open();
    EXPECT_EQ(line.Receive(), std::nullopt);
  }
  EXPECT_EQ(line.Receive(), "");
}

TEST_P(BoardPortTest, AClosedPortRefusesWhatTouchesTheLine) {
  EXPECT_EQ(port_.Close(), 0);
  EXPECT_EQ(port_.Close(), 0);
  std::string answer;
  constexpr const char* kNotOpen = "the port is not open";
  EXPECT_EQ(RuntimeErrorOf([this] { port_.WriteByte(1); }), kNotOpen);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.ReadByte(); }), kNotOpen);
  EXPECT_EQ(RuntimeErrorOf([&] { port_.Read(answer); }), kNotOpen);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.Write("a"); }), kNotOpen);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.WriteSlowly("a", 0); }), kNotOpen);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.FlushInput(); }), kNotOpen);
}

TEST_P(BoardPortTest, AnOpenPortKeepsItsSettings) {
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetTimeout(100); }),
            "the time-out of an open port can't be changed");
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetBaudRate(9600); }),
            "the speed of an open port can't be changed");
  EXPECT_EQ(RuntimeErrorOf([this] { port_.Open(); }), "the port is open already");
  EXPECT_EQ(port_.GetBaudRate(), 115200U);
}

TEST_P(BoardPortTest, OnlySpeedsAndTimeOutsThatAPortHasAreTaken) {
  port_.Close();
  for (const std::int32_t wrong : {-2, 25501}) {
    EXPECT_EQ(RuntimeErrorOf([&] { port_.SetTimeout(wrong); }), "a time-out is -1 to 25500 ms");
  }
  port_.SetTimeout(25500);
  EXPECT_EQ(port_.SetBaudRate(9600), 0U);
  EXPECT_EQ(port_.SetBaudRate(9601), 0U);
  EXPECT_EQ(port_.GetBaudRate(), 9600U);
  EXPECT_EQ(RuntimeErrorOf([] { MakePort(ParsePort("/dev/x"), 4800, {}); }),
            "Baud rate not supported : 4800");
}

TEST_P(BoardPortTest, AFailureOfTheSystemThatIsNoLossKeepsItsValue) {
  for (const std::function<void()>& operation :
       {std::function<void()>([this] { port_.ReadByte(); }),
        std::function<void()>([this] { port_.Write("a"); })}) {
    const FailingCall poll("poll", ENOMEM);
    try {
      for (;;) {
        operation();
      }
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code().value(), ENOMEM);
    }
  }
}

TEST_P(BoardPortTest, AnInterruptedReadIsDoneAgain) {
  port_.Close();
  SocketPair line;
  SocketPort port(std::move(line.near), GetParam());
  port.SetTimeout(20'000);
  port.Open();
  line.Send("A");
  const FailingCall interrupted("read", EINTR);
  EXPECT_EQ(port.ReadByte(), 'A');
}

}  // namespace
}  // namespace kvo::boards
