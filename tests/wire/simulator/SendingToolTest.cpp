// The receiver against the sender of another hand: sb of lrzsz, with YModem's usual packet 0.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <array>
#include <charconv>

#include "simulator/AnswerSender.h"
#include "simulator/DescriptorLine.h"
#include "simulator/StopSignals.h"
#include "simulator/YmodemReceiver.h"
#include "support/HostPort.h"
#include "support/Processes.h"

namespace kvo::boardsimulator {
namespace {

using bootloadertms::testing::RunningProgram;
using bootloadertms::testing::TemporaryFolder;

// A file's name, 0x00, and its length in decimal digits up to a blank.
class UsualPacketZero : public PacketZeroPolicy {
 public:
  PacketZeroJudgement Judge(std::span<const std::uint8_t> data) const override {
    const std::string text(data.begin(), data.end());
    const std::string digits = text.substr(text.find('\0') + 1);
    std::uint64_t length = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), length);
    if (text.substr(0, text.find('\0')) != "image.bin") {
      return {std::nullopt, "unknown file"};
    }
    return {length, ""};
  }
  // No name. The sender at hand leaves other bytes in that packet.
  bool IsClosing(std::span<const std::uint8_t> data) const override { return data.front() == 0; }
};

Reception ReceiveFrom(UniqueDescriptor socket, FaultPlan faults) {
  DescriptorLine line(std::move(socket), -1);
  ByteStream stream(line);
  Trace trace;
  AnswerSender answers(stream, faults, trace);
  ReceiverTimes patient;
  patient.ask_limit = std::chrono::seconds(60);
  patient.silence = std::chrono::seconds(60);
  return YmodemReceiver(stream, UsualPacketZero(), answers, trace, patient).Receive();
}

// The tool, which `options` may tell to send blocks of 1024 bytes in place of 128, sends a file of
// `size` bytes through a receiver with these faults.
void ExpectFileToArrive(const std::string& options, std::size_t size, FaultPlan faults) {
  SCOPED_TRACE("sb " + options + ", " + std::to_string(size) + " bytes");
  const TemporaryFolder folder;
  const std::string file = folder.WriteFile("image.bin", ToText(Pattern(size)));
  SocketPair sockets;
  const int inherited = sockets.first.Get();
  ASSERT_EQ(::fcntl(inherited, F_SETFD, 0), 0);
  const std::string end = std::to_string(inherited);
  RunningProgram sender(
      {"sh", "-c", "exec sb -q " + options + " '" + file + "' <&" + end + " >&" + end});
  sockets.first.Close();
  const Reception reception = ReceiveFrom(std::move(sockets.second), std::move(faults));
  EXPECT_EQ(reception.end, ReceptionEnd::kComplete);
  EXPECT_TRUE(reception.whole);
  EXPECT_EQ(reception.image, Pattern(size));
  EXPECT_EQ(sender.Wait(), 0) << sender.ErrorOutput();
}

constexpr std::array<std::size_t, 6> kSizes = {0, 1, 128, 1024, 1025, 100'000};

class SendingToolTest : public testing::TestWithParam<std::string> {
 protected:
  SendingToolTest() { IgnoreBrokenPipes(); }
};

TEST_P(SendingToolTest, FilesArriveWhole) {
  for (const std::size_t size : kSizes) {
    ExpectFileToArrive(GetParam(), size, FaultPlan());
  }
}

TEST_P(SendingToolTest, FilesArriveWholeInSpiteOfFaults) {
  for (const std::size_t size : kSizes) {
    ExpectFileToArrive(GetParam(), size,
                       FaultPlan({ParseFault("nak@block:1/2"), ParseFault("nak@eot/2")}));
  }
}

INSTANTIATE_TEST_SUITE_P(Sb, SendingToolTest, testing::Values("", "-k"),
                         [](const testing::TestParamInfo<std::string>& options) {
                           return options.param.empty() ? "SmallBlocks" : "LargeBlocks";
                         });

}  // namespace
}  // namespace kvo::boardsimulator
