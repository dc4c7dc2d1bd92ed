// What a signal does to a run, wherever it comes, and that the port serves the next run.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "end_to_end/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::string_literals;

constexpr std::size_t kPacketZeroLength = 133;
constexpr std::size_t kPartOfABlock = 500;

struct Stage {
  const char* name;
  std::vector<std::string> arguments;  // "IMAGE" stands for an image's path
  std::vector<Exchange> exchanges;
  std::size_t packet_bytes;  // that come behind the exchanges
  std::string answer;        // to those
  std::size_t more_bytes;
};

void PrintTo(const Stage& stage, std::ostream* out) { *out << stage.name; }

class Interrupted : public UtilityOnALine,
                    public ::testing::WithParamInterface<std::tuple<int, Stage>> {
 protected:
  void RunUpToTheStage(const Stage& stage) {
    std::vector<std::string> arguments = stage.arguments;
    if (arguments.front() == "IMAGE") {
      arguments.front() = image_;
    }
    Start(arguments);
    BoardPlays(stage.exchanges);
    ASSERT_EQ(terminal_.Receive(stage.packet_bytes).size(), stage.packet_bytes);
    BoardSends(stage.answer);
    ASSERT_EQ(terminal_.Receive(stage.more_bytes).size(), stage.more_bytes);
  }

  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", std::string(4000, 'i'));
};

TEST_P(Interrupted, EndsByTheSignalAndLeavesThePortToTheNextRun) {
  const auto& [signal, stage] = GetParam();
  ASSERT_NO_FATAL_FAILURE(RunUpToTheStage(stage));
  ExpectEndBySignal(signal);
  Start({"--command", "0x30"});
  BoardPlays({{"0", "A"}});
  ExpectSuccess("");
}

std::string NameOf(const ::testing::TestParamInfo<std::tuple<int, Stage>>& row) {
  const auto& [signal, stage] = row.param;
  return stage.name + "Sig"s + ::sigabbrev_np(signal);
}

INSTANTIATE_TEST_SUITE_P(
    SignalTest, Interrupted,
    ::testing::Combine(
        ::testing::Values(SIGINT, SIGTERM, SIGHUP, SIGKILL),
        ::testing::Values(
            Stage{"Activation", {"IMAGE", "--active_bootloader"}, {{"Q", ""}}, 0, "", 0},
            Stage{"Ping", {"--command", "0x30"}, {{"0", ""}}, 0, "", 0},
            Stage{"Pause", {"--send", "41"}, {{"A", ""}}, 0, "", 0},
            Stage{"Calibration", {"--command", "0x4B"}, {{"K", "KVO_CMD_CALIBRATE"}}, 0, "", 0},
            Stage{
                "RepeatedQuestion", {"--command", "0x100"}, {{"s", "can"}, {"s", "can"}}, 0, "", 0},
            Stage{"Restoring", {"--command", "0x110"}, {{"Q", ""}, {"6", ""}}, 0, "", 0},
            Stage{"WaitForTheReceiver", {"IMAGE", "--x"}, {{"1", ""}}, 0, "", 0},
            Stage{"PacketZero", {"IMAGE", "--x"}, {{"1", "C"}}, 50, "", 0},
            Stage{"Block",
                  {"IMAGE", "--x"},
                  {{"1", "C"}},
                  kPacketZeroLength,
                  "\x06"
                  "C",
                  kPartOfABlock},
            Stage{
                "StartOfTheApplication", {"--command", "0x36"}, {{"6", ""}, {"0", ""}}, 0, "", 0})),
    NameOf);

class SignalTest : public UtilityOnALine {};

TEST_F(SignalTest, ASignalOfAClosedPipeChangesNothing) {
  Start({"--command", "0x30"});
  BoardGets("0");
  Signal(SIGPIPE);
  BoardPlays({{"0", "A"}});
  ExpectSuccess("");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
