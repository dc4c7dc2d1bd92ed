// The board's lines over what the system has: sockets, pipes and pseudo-terminals.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

#include "simulator/PseudoTerminal.h"
#include "simulator/SocketLine.h"
#include "simulator/StopSignals.h"
#include "support/Files.h"
#include "support/HostPort.h"
#include "support/RuntimeErrorOf.h"

namespace kvo::boardsimulator {
namespace {

using bootloadertms::testing::ReadFile;
using bootloadertms::testing::RuntimeErrorOf;
using bootloadertms::testing::TemporaryFolder;
using std::chrono::milliseconds;

namespace fs = std::filesystem;

// The reason why `wait` ended the serving, if it did.
template <typename Wait>
std::optional<EndReason> EndOf(Wait wait) {
  try {
    wait();
  } catch (const ServingEnded& end) {
    return end.Reason();
  }
  return std::nullopt;
}

std::string Read(Line& line, TimePoint until) {
  Bytes buffer(64);
  buffer.resize(line.Read(buffer, until));
  return ToHex(buffer);
}

// Waits until the line has noticed who is there.
void Notice(Line& line) { EXPECT_EQ(Read(line, line.Now() + milliseconds(20)), ""); }

using Connect = std::function<HostPort()>;

class LineTest : public testing::Test {
 protected:
  LineTest() { IgnoreBrokenPipes(); }

  void Stop() { ASSERT_EQ(::write(stop_.second.Get(), "x", 1), 1); }
  // Both directions pass all bytes as they are.
  static void ExpectBytesToPass(HostPort host, Line& line) {
    Bytes all(256);
    for (std::size_t value = 0; value < all.size(); ++value) {
      all[value] = static_cast<std::uint8_t>(value);
    }
    host.Send(all);
    Bytes received;
    while (received.size() < all.size()) {
      received = received + FromHex(Read(line, kNever));
    }
    EXPECT_EQ(received, all);
    line.Write(all);
    EXPECT_EQ(host.Receive(all.size()), all);
  }
  static void ExpectDeadlineToPass(Line& line) {
    const TimePoint until = line.Now() + milliseconds(20);
    EXPECT_EQ(Read(line, until), "");
    EXPECT_GE(line.Now(), until);
  }
  void ExpectStopToEndEachWait(Line& line) {
    Stop();
    EXPECT_EQ(EndOf([&] { Read(line, kNever); }), EndReason::kStopRequested);
    EXPECT_EQ(EndOf([&] { line.WaitUntil(kNever); }), EndReason::kStopRequested);
  }
  // Each host has asked, been answered and left, maybe unnoticed, before the next one comes.
  static void ExpectToServeOneAfterTheOther(const Connect& connect, Line& line) {
    for (const std::string byte : {"31", "32", "33"}) {
      HostPort host = connect();
      host.Send(FromHex(byte));
      EXPECT_EQ(Read(line, kNever), byte);
      line.Write(FromHex("06"));
      EXPECT_EQ(ToHex(host.Receive(1)), "06");
    }
  }
  static void ExpectToWaitForALateHost(const Connect& connect, Line& line) {
    std::thread late_host([&connect] {
      std::this_thread::sleep_for(milliseconds(30));
      connect().Send(FromHex("30"));
    });
    EXPECT_EQ(Read(line, kNever), "30");
    late_host.join();
  }

  SocketPair stop_;
};

class DescriptorLineTest : public LineTest {
 protected:
  SocketPair sockets_;
  HostPort host_{std::move(sockets_.first)};
  DescriptorLine line_{std::move(sockets_.second), stop_.first.Get()};
};

TEST_F(DescriptorLineTest, BytesPassBothWays) { ExpectBytesToPass(std::move(host_), line_); }

TEST_F(DescriptorLineTest, DeadlinePasses) { ExpectDeadlineToPass(line_); }

TEST_F(DescriptorLineTest, PastDeadlineStillLooksOnce) {
  EXPECT_EQ(Read(line_, TimePoint::min()), "");
  host_.Send(FromHex("01"));
  EXPECT_EQ(Read(line_, TimePoint::min()), "01");
}

TEST_F(DescriptorLineTest, ClosedPeerEndsReadingAndWriting) {
  host_.Send(FromHex("01"));
  host_.Close();
  EXPECT_EQ(Read(line_, kNever), "01");
  EXPECT_EQ(EndOf([this] { Read(line_, kNever); }), EndReason::kPeerClosed);
  EXPECT_EQ(EndOf([this] { line_.Write(FromHex("01")); }), EndReason::kPeerClosed);
}

TEST_F(DescriptorLineTest, StopEndsEachWait) {
  ExpectStopToEndEachWait(line_);
  EXPECT_EQ(EndOf([this] { line_.Write(Bytes(50'000'000)); }), EndReason::kStopRequested);
}

TEST_F(DescriptorLineTest, StopWakesAWaitThatHasBegun) {
  std::thread stopper([this] {
    std::this_thread::sleep_for(milliseconds(20));
    Stop();
  });
  EXPECT_EQ(EndOf([this] { Read(line_, kNever); }), EndReason::kStopRequested);
  stopper.join();
}

TEST_F(DescriptorLineTest, MoreThanThePeersBufferHoldsIsWrittenWhole) {
  const Bytes much = Pattern(2'000'000);
  std::thread writer([&] { line_.Write(much); });
  EXPECT_EQ(host_.Receive(much.size()), much);
  writer.join();
}

using DescriptorPairTest = LineTest;

TEST_F(DescriptorPairTest, EachDirectionHasItsOwnDescriptor) {
  SocketPair input;
  SocketPair output;
  HostPort sender(std::move(input.first));
  HostPort receiver(std::move(output.first));
  DescriptorLine line(std::move(input.second), std::move(output.second), -1);
  sender.Send(FromHex("01"));
  EXPECT_EQ(Read(line, kNever), "01");
  line.Write(FromHex("02"));
  EXPECT_EQ(ToHex(receiver.Receive(1)), "02");
}

class SocketLineTest : public LineTest {
 protected:
  TemporaryFolder folder_;
  const std::string path_ = folder_.Path("board");
  std::optional<SocketLine> line_{std::in_place, path_, stop_.first.Get()};
  const Connect connect_ = [this] { return HostPort::Connect(path_); };
};

TEST_F(SocketLineTest, BytesPassBothWays) { ExpectBytesToPass(connect_(), *line_); }

TEST_F(SocketLineTest, ServesOneHostAfterTheOther) {
  ExpectToServeOneAfterTheOther(connect_, *line_);
  Notice(*line_);
  EXPECT_EQ(line_->Departures(), 3U);
}

TEST_F(SocketLineTest, WaitsForAHostThatComesLater) { ExpectToWaitForALateHost(connect_, *line_); }

TEST_F(SocketLineTest, DeadlinePassesWithAndWithoutAHost) {
  ExpectDeadlineToPass(*line_);
  const HostPort host = connect_();
  ExpectDeadlineToPass(*line_);
}

TEST_F(SocketLineTest, WritingWithoutAHostIsLost) {
  line_->Write(FromHex("42"));
  {
    HostPort host = connect_();
    host.Send(FromHex("30"));
    EXPECT_EQ(Read(*line_, kNever), "30");
  }
  line_->Write(FromHex("43"));
  line_->Write(FromHex("44"));
  HostPort host = connect_();
  host.Send(FromHex("31"));
  EXPECT_EQ(Read(*line_, kNever), "31");
  line_->Write(FromHex("45"));
  EXPECT_EQ(ToHex(host.Receive(1)), "45");
}

TEST_F(SocketLineTest, StopEndsEachWait) {
  ExpectStopToEndEachWait(*line_);
  const HostPort host = connect_();
  EXPECT_THROW(Read(*line_, kNever), ServingEnded);
}

TEST_F(SocketLineTest, SocketIsThereAsLongAsTheLine) {
  EXPECT_TRUE(fs::is_socket(path_));
  line_.reset();
  EXPECT_TRUE(fs::is_empty(folder_.Path("")));
}

TEST_F(SocketLineTest, ASocketThatWasLeftIsReplaced) {
  SocketLine line(path_, -1);
  connect_().Send(FromHex("30"));
  EXPECT_EQ(Read(line, kNever), "30");
}

TEST_F(SocketLineTest, WhereNoneCanBeIsAnError) {
  const std::string file = folder_.WriteFile("file", "precious");
  const std::vector<std::pair<std::string, std::string>> rows = {
      {file, "Address already in use"},
      {folder_.Path("missing/board"), "No such file or directory"},
      {std::string(108, 'x'), "the path is too long"}};
  for (const auto& [path, reason] : rows) {
    EXPECT_EQ(RuntimeErrorOf([&path = path] { const SocketLine line(path, -1); }),
              "cannot listen at " + path + ": " + reason);
  }
  EXPECT_EQ(ReadFile(file), "precious");
}

class PseudoTerminalTest : public LineTest {
 protected:
  PseudoTerminal terminal_{stop_.first.Get()};
  const Connect open_ = [this] { return HostPort::Open(terminal_.SlavePath()); };
};

TEST_F(PseudoTerminalTest, BytesPassBothWays) { ExpectBytesToPass(open_(), terminal_); }

TEST_F(PseudoTerminalTest, ServesOneHostAfterTheOther) {
  ExpectToServeOneAfterTheOther(open_, terminal_);
}

TEST_F(PseudoTerminalTest, WaitsForAHostThatComesLater) {
  ExpectToWaitForALateHost(open_, terminal_);
}

TEST_F(PseudoTerminalTest, DeadlinePassesWithAndWithoutAHost) {
  ExpectDeadlineToPass(terminal_);
  const HostPort host = open_();
  ExpectDeadlineToPass(terminal_);
}

TEST_F(PseudoTerminalTest, EachDepartureOfAHostIsCounted) {
  Notice(terminal_);
  EXPECT_EQ(terminal_.Departures(), 0U);
  for (std::uint64_t departures = 1; departures <= 3; ++departures) {
    HostPort host = open_();
    EXPECT_EQ(Read(terminal_, terminal_.Now()), "");
    EXPECT_EQ(terminal_.Departures(), departures - 1);
    host.Close();
    Notice(terminal_);
    EXPECT_EQ(terminal_.Departures(), departures);
  }
}

TEST_F(PseudoTerminalTest, HostThatWritesAndLeavesAtOnceIsHeardAndCounted) {
  open_().Send(FromHex("30"));
  EXPECT_EQ(Read(terminal_, kNever), "30");
  Notice(terminal_);
  EXPECT_EQ(terminal_.Departures(), 1U);
}

TEST_F(PseudoTerminalTest, WritingWithoutAHostIsLost) {
  open_().Close();
  Notice(terminal_);
  EXPECT_NO_THROW(terminal_.Write(FromHex("42")));
  HostPort host = open_();
  terminal_.Write(FromHex("43"));
  EXPECT_EQ(ToHex(host.Receive(1)), "43");
}

TEST_F(PseudoTerminalTest, NextHostDoesNotGetWhatTheLastLeftUnread) {
  {
    HostPort host = open_();
    host.Send(FromHex("30"));
    EXPECT_EQ(Read(terminal_, kNever), "30");
    terminal_.Write(FromHex("41 42"));
    EXPECT_EQ(ToHex(host.Receive(1)), "41");
  }
  Notice(terminal_);
  HostPort host = open_();
  terminal_.Write(FromHex("43"));
  EXPECT_EQ(ToHex(host.Receive(1)), "43");
}

TEST_F(PseudoTerminalTest, HostThatDoesNotReadCannotHoldUpTheBoard) {
  HostPort host = open_();
  for (int time = 0; time < 200; ++time) {
    terminal_.Write(Bytes(4096, 0x55));
  }
  EXPECT_FALSE(host.ReceiveWhatIsThere().empty());
}

TEST_F(PseudoTerminalTest, StopEndsEachWait) { ExpectStopToEndEachWait(terminal_); }

}  // namespace
}  // namespace kvo::boardsimulator
