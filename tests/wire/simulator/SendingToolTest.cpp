// The receiver against the sender of another hand: sb of lrzsz, with YModem's usual packet 0.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <ostream>

#include "simulator/AnswerSender.h"
#include "simulator/DescriptorLine.h"
#include "simulator/StopSignals.h"
#include "simulator/YmodemReceiver.h"
#include "unit/simulator/ChildProcess.h"
#include "unit/simulator/TemporaryFolder.h"

namespace kvo::boardsimulator {
namespace {

// A file's name, 0x00, and its length in decimal digits up to a blank.
class UsualPacketZero : public PacketZeroPolicy {
 public:
  PacketZeroJudgement Judge(std::span<const std::uint8_t> data) const override {
    const std::string text(data.begin(), data.end());
    const std::string digits = text.substr(text.find('\0') + 1);
    std::uint64_t length = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), length);
    if (text.substr(0, text.find('\0')) != "image.bin") return {std::nullopt, "unknown file"};
    return {length, ""};
  }
  // No name. The sender at hand leaves other bytes in that packet.
  bool IsClosing(std::span<const std::uint8_t> data) const override { return data.front() == 0; }
};

struct Case {
  std::string options;
  std::size_t size;
};

void PrintTo(const Case& tested, std::ostream* output) {
  *output << "sb " << tested.options << ", " << tested.size << " bytes";
}

class SendingToolTest : public testing::TestWithParam<Case> {
 protected:
  SendingToolTest() { IgnoreBrokenPipes(); }

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

  // Sends a file of `size` bytes through a receiver with these faults.
  Reception Transfer(const std::string& options, std::size_t size, FaultPlan faults) {
    WriteFile(folder_.PathOf("image.bin"), Pattern(size));
    std::vector<std::string> arguments{KVO_SENDING_TOOL, "-q"};
    if (!options.empty()) arguments.push_back(options);
    arguments.push_back(folder_.PathOf("image.bin"));
    SocketPair sockets;
    ChildProcess sender(arguments, sockets.first.Get(), sockets.first.Get(), -1);
    sockets.first.Close();
    Reception reception = ReceiveFrom(std::move(sockets.second), std::move(faults));
    sender_status_ = sender.WaitForEnd();
    return reception;
  }

  TemporaryFolder folder_;
  int sender_status_ = -1;
};

TEST_P(SendingToolTest, FileArrivesWhole) {
  const Reception reception = Transfer(GetParam().options, GetParam().size, FaultPlan());
  EXPECT_EQ(reception.end, ReceptionEnd::kComplete);
  EXPECT_TRUE(reception.whole);
  EXPECT_EQ(reception.image, Pattern(GetParam().size));
  EXPECT_EQ(sender_status_, 0);
}

TEST_P(SendingToolTest, FileArrivesWholeInSpiteOfFaults) {
  FaultPlan faults({ParseFault("nak@block:1/2"), ParseFault("nak@eot/2")});
  const Reception reception = Transfer(GetParam().options, GetParam().size, std::move(faults));
  EXPECT_TRUE(reception.whole);
  EXPECT_EQ(reception.image, Pattern(GetParam().size));
  EXPECT_EQ(sender_status_, 0);
}

INSTANTIATE_TEST_SUITE_P(Sizes, SendingToolTest,
                         testing::Values(Case{"", 0}, Case{"", 1}, Case{"", 128}, Case{"", 1024},
                                         Case{"", 1025}, Case{"", 100'000}, Case{"-k", 0},
                                         Case{"-k", 1}, Case{"-k", 128}, Case{"-k", 1024},
                                         Case{"-k", 1025}, Case{"-k", 100'000}),
                         [](const testing::TestParamInfo<Case>& tested) {
                           const std::string blocks =
                               tested.param.options.empty() ? "SmallBlocks" : "LargeBlocks";
                           return blocks + std::to_string(tested.param.size) + "Bytes";
                         });

}  // namespace
}  // namespace kvo::boardsimulator
