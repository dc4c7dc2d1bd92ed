#include "simulator/SocketLine.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <thread>

#include "simulator/StopSignals.h"
#include "unit/simulator/ChildProcess.h"
#include "unit/simulator/HostPort.h"
#include "unit/simulator/TemporaryFolder.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;

namespace fs = std::filesystem;

class SocketLineTest : public testing::Test {
 protected:
  SocketLineTest() { IgnoreBrokenPipes(); }

  HostPort Connect() { return HostPort::Connect(path_); }
  Bytes Read(TimePoint until) {
    std::array<std::uint8_t, 64> buffer{};
    const std::size_t count = line_.Read(buffer, until);
    return {buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count)};
  }

  TemporaryFolder folder_;
  std::string path_ = folder_.PathOf("board");
  SocketPair stop_;
  SocketLine line_{path_, stop_.first.Get()};
};

TEST_F(SocketLineTest, BytesPassBothWays) {
  HostPort host = Connect();
  host.Send(FromHex("30 00 ff"));
  EXPECT_EQ(ToHex(Read(kNever)), "30 00 ff");
  line_.Write(FromHex("41 00 ff"));
  EXPECT_EQ(ToHex(host.Receive(3)), "41 00 ff");
}

TEST_F(SocketLineTest, ServesOneHostAfterTheOther) {
  for (const std::string byte : {"31", "32", "33"}) {
    HostPort host = Connect();
    host.Send(FromHex(byte));
    EXPECT_EQ(ToHex(Read(kNever)), byte);
    line_.Write(FromHex("06"));
    EXPECT_EQ(ToHex(host.Receive(1)), "06");
  }
}

TEST_F(SocketLineTest, CountsHostsThatHaveLeft) {
  EXPECT_EQ(line_.Departures(), 0U);
  { const HostPort host = Connect(); }
  EXPECT_EQ(ToHex(Read(line_.Now() + milliseconds(20))), "");
  EXPECT_EQ(line_.Departures(), 1U);
  const HostPort host = Connect();
  EXPECT_EQ(ToHex(Read(line_.Now() + milliseconds(20))), "");
  EXPECT_EQ(line_.Departures(), 1U);
}

TEST_F(SocketLineTest, WaitsForAHostThatComesLater) {
  std::thread late_host([this] {
    std::this_thread::sleep_for(milliseconds(30));
    Connect().Send(FromHex("30"));
  });
  EXPECT_EQ(ToHex(Read(kNever)), "30");
  late_host.join();
}

TEST_F(SocketLineTest, DeadlinePassesWithAndWithoutAHost) {
  EXPECT_EQ(ToHex(Read(line_.Now() + milliseconds(20))), "");
  const HostPort host = Connect();
  const TimePoint until = line_.Now() + milliseconds(20);
  EXPECT_EQ(ToHex(Read(until)), "");
  EXPECT_GE(line_.Now(), until);
}

TEST_F(SocketLineTest, WritingWithoutAHostIsLost) {
  line_.Write(FromHex("42"));
  {
    HostPort host = Connect();
    host.Send(FromHex("30"));
    EXPECT_EQ(ToHex(Read(kNever)), "30");
  }
  line_.Write(FromHex("43"));
  line_.Write(FromHex("44"));
  HostPort host = Connect();
  host.Send(FromHex("31"));
  EXPECT_EQ(ToHex(Read(kNever)), "31");
  line_.Write(FromHex("45"));
  EXPECT_EQ(ToHex(host.Receive(1)), "45");
}

TEST_F(SocketLineTest, StopEndsEachWait) {
  ASSERT_EQ(::write(stop_.second.Get(), "x", 1), 1);
  EXPECT_THROW(Read(kNever), ServingEnded);
  EXPECT_THROW(line_.WaitUntil(kNever), ServingEnded);
  const HostPort host = Connect();
  EXPECT_THROW(Read(kNever), ServingEnded);
}

TEST(SocketLinePathTest, SocketIsThereAsLongAsTheLine) {
  const TemporaryFolder folder;
  {
    const SocketLine line(folder.PathOf("board"), -1);
    EXPECT_TRUE(fs::is_socket(folder.PathOf("board")));
  }
  EXPECT_EQ(folder.CountFiles(), 0U);
}

TEST(SocketLinePathTest, ASocketThatWasLeftIsReplaced) {
  const TemporaryFolder folder;
  const SocketLine left(folder.PathOf("board"), -1);
  SocketLine line(folder.PathOf("board"), -1);
  HostPort::Connect(folder.PathOf("board")).Send(FromHex("30"));
  std::array<std::uint8_t, 8> buffer{};
  EXPECT_EQ(line.Read(buffer, kNever), 1U);
}

std::string ReasonNotToListenAt(const std::string& path) {
  try {
    const SocketLine line(path, -1);
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "";
}

TEST(SocketLinePathTest, AFileIsLeftAlone) {
  const TemporaryFolder folder;
  const std::string path = folder.PathOf("board");
  WriteFile(path, FromText("precious"));
  EXPECT_EQ(ReasonNotToListenAt(path), "cannot listen at " + path + ": Address already in use");
  EXPECT_EQ(ReadTextFile(path), "precious");
}

TEST(SocketLinePathTest, AMissingFolderIsAnError) {
  const TemporaryFolder folder;
  const std::string path = folder.PathOf("missing/board");
  EXPECT_EQ(ReasonNotToListenAt(path), "cannot listen at " + path + ": No such file or directory");
}

TEST(SocketLinePathTest, APathThatNoSocketHasRoomForIsAnError) {
  const std::string path(108, 'x');
  EXPECT_EQ(ReasonNotToListenAt(path), "cannot listen at " + path + ": the path is too long");
}

}  // namespace
}  // namespace kvo::boardsimulator
