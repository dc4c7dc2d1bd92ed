#include "simulator/DescriptorLine.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <thread>

#include "simulator/StopSignals.h"
#include "unit/simulator/ChildProcess.h"
#include "unit/simulator/HostPort.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;

class DescriptorLineTest : public testing::Test {
 protected:
  DescriptorLineTest() {
    IgnoreBrokenPipes();
    SocketPair sockets;
    host_.emplace(std::move(sockets.first));
    line_.emplace(std::move(sockets.second), stop_.first.Get());
  }

  // The reason why `wait` left its wait.
  template <typename Wait>
  std::optional<EndReason> ReasonOf(Wait wait) {
    try {
      wait();
    } catch (const ServingEnded& end) {
      return end.Reason();
    }
    return std::nullopt;
  }
  std::size_t Read(TimePoint until) { return line_->Read(buffer_, until); }

  SocketPair stop_;
  std::optional<HostPort> host_;
  std::optional<DescriptorLine> line_;
  std::array<std::uint8_t, 64> buffer_{};
};

TEST_F(DescriptorLineTest, BytesPassBothWays) {
  host_->Send(FromHex("01 02 03"));
  EXPECT_EQ(Read(kNever), 3U);
  EXPECT_EQ(buffer_[2], 3);
  line_->Write(FromHex("04 05"));
  EXPECT_EQ(ToHex(host_->Receive(2)), "04 05");
}

TEST_F(DescriptorLineTest, NothingBeforeTheDeadline) {
  const TimePoint until = line_->Now() + milliseconds(20);
  EXPECT_EQ(Read(until), 0U);
  EXPECT_GE(line_->Now(), until);
}

TEST_F(DescriptorLineTest, PastDeadlineStillLooksOnce) {
  EXPECT_EQ(Read(TimePoint::min()), 0U);
  host_->Send(FromHex("01"));
  EXPECT_EQ(Read(TimePoint::min()), 1U);
}

TEST_F(DescriptorLineTest, ClosedPeerEndsReading) {
  host_->Send(FromHex("01"));
  host_->Close();
  EXPECT_EQ(Read(kNever), 1U);
  EXPECT_EQ(ReasonOf([this] { Read(kNever); }), EndReason::kPeerClosed);
}

TEST_F(DescriptorLineTest, ClosedPeerEndsWriting) {
  host_->Close();
  EXPECT_EQ(ReasonOf([this] { line_->Write(FromHex("01")); }), EndReason::kPeerClosed);
}

TEST_F(DescriptorLineTest, StopEndsEachWait) {
  ASSERT_EQ(::write(stop_.second.Get(), "x", 1), 1);
  EXPECT_EQ(ReasonOf([this] { Read(kNever); }), EndReason::kStopRequested);
  EXPECT_EQ(ReasonOf([this] { line_->WaitUntil(kNever); }), EndReason::kStopRequested);
  EXPECT_EQ(ReasonOf([this] { line_->Write(Bytes(50'000'000)); }), EndReason::kStopRequested);
}

TEST_F(DescriptorLineTest, StopWakesAWaitThatHasBegun) {
  std::thread stopper([this] {
    std::this_thread::sleep_for(milliseconds(20));
    EXPECT_EQ(::write(stop_.second.Get(), "x", 1), 1);
  });
  EXPECT_EQ(ReasonOf([this] { Read(kNever); }), EndReason::kStopRequested);
  stopper.join();
}

TEST_F(DescriptorLineTest, MoreThanThePeersBufferHoldsIsWrittenWhole) {
  const Bytes much = Pattern(2'000'000);
  std::thread writer([&] { line_->Write(much); });
  EXPECT_EQ(host_->Receive(much.size()), much);
  writer.join();
}

TEST(DescriptorPairTest, EachDirectionHasItsOwnDescriptor) {
  SocketPair input;
  SocketPair output;
  HostPort sender(std::move(input.first));
  HostPort receiver(std::move(output.first));
  DescriptorLine line(std::move(input.second), std::move(output.second), -1);
  std::array<std::uint8_t, 8> buffer{};
  sender.Send(FromHex("01"));
  EXPECT_EQ(line.Read(buffer, kNever), 1U);
  line.Write(FromHex("02"));
  EXPECT_EQ(ToHex(receiver.Receive(1)), "02");
}

}  // namespace
}  // namespace kvo::boardsimulator
