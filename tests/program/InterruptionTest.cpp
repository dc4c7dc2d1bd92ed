// What becomes of a run that a signal or the end of its line meets, wherever it happens; and that
// the port serves the next run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "program/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::string_literals;
using ::testing::AnyOf;
using ::testing::EndsWith;

// A place in a run: what has gone to and fro before it.
struct Stage {
  const char* name;
  std::vector<std::string> arguments;  // "IMAGE" stands for an image's path
  std::vector<Exchange> exchanges;
  std::size_t packet_bytes;  // that come after the exchanges
  std::string answer;        // to those
  std::size_t more_bytes;
};

void PrintTo(const Stage& stage, std::ostream* out) { *out << stage.name; }

class RunUpToAStage : public UtilityOnALine {
 protected:
  void RunUpTo(const Stage& stage) {
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

 private:
  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", std::string(4000, 'i'));
};

constexpr std::size_t kPacketZeroLength = 133;
constexpr std::size_t kPartOfABlock = 500;

const Stage kActivation{"Activation", {"IMAGE", "--active_bootloader"}, {{"Q", ""}}, 0, "", 0};
const Stage kPing{"Ping", {"--command", "0x30"}, {{"0", ""}}, 0, "", 0};
const Stage kPause{"Pause", {"--send", "41"}, {{"A", ""}}, 0, "", 0};
const Stage kCalibration{
    "Calibration", {"--command", "0x4B"}, {{"K", "KVO_CMD_CALIBRATE"}}, 0, "", 0};
const Stage kRepeatedQuestion{
    "RepeatedQuestion", {"--command", "0x100"}, {{"s", "can"}, {"s", "can"}}, 0, "", 0};
const Stage kRestoring{"Restoring", {"--command", "0x110"}, {{"Q", ""}, {"6", ""}}, 0, "", 0};
const Stage kWaitForTheReceiver{"WaitForTheReceiver", {"IMAGE", "--x"}, {{"1", ""}}, 0, "", 0};
const Stage kInPacketZero{"PacketZero", {"IMAGE", "--x"}, {{"1", "C"}}, 50, "", 0};
const Stage kInABlock{"Block",
                      {"IMAGE", "--x"},
                      {{"1", "C"}},
                      kPacketZeroLength,
                      "\x06"
                      "C",
                      kPartOfABlock};
const Stage kStartOfTheApplication{
    "StartOfTheApplication", {"--command", "0x36"}, {{"6", ""}, {"0", ""}}, 0, "", 0};

class Interrupted : public RunUpToAStage,
                    public ::testing::WithParamInterface<std::tuple<int, Stage>> {};

TEST_P(Interrupted, EndsByTheSignalAndLeavesThePortToTheNextRun) {
  const auto& [signal, stage] = GetParam();
  ASSERT_NO_FATAL_FAILURE(RunUpTo(stage));
  ExpectEndBySignal(signal);
  Start({"--command", "0x30"});
  BoardPlays({{"0", "A"}});
  ExpectSuccess("");
}

std::string NameOfSignal(const ::testing::TestParamInfo<std::tuple<int, Stage>>& row) {
  const auto& [signal, stage] = row.param;
  return stage.name + "Sig"s + ::sigabbrev_np(signal);
}

INSTANTIATE_TEST_SUITE_P(
    InterruptionTest, Interrupted,
    ::testing::Combine(::testing::Values(SIGINT, SIGTERM, SIGHUP, SIGKILL),
                       ::testing::Values(kActivation, kPing, kPause, kCalibration,
                                         kRepeatedQuestion, kRestoring, kWaitForTheReceiver,
                                         kInPacketZero, kInABlock, kStartOfTheApplication)),
    NameOfSignal);

class InterruptionTest : public RunUpToAStage {};

TEST_F(InterruptionTest, ASignalOfAClosedPipeChangesNothing) {
  Start({"--command", "0x30"});
  BoardGets("0");
  Signal(SIGPIPE);
  BoardPlays({{"0", "A"}});
  ExpectSuccess("");
}

// The line vanishes, as when its adapter is unplugged. A run that only reads from then on finds it
// silent or broken: calibration, here, and sending a byte have tests of their own.
class VanishedLine : public RunUpToAStage, public ::testing::WithParamInterface<Stage> {};

TEST_P(VanishedLine, FailsTheRunByTheNextByteSentOrByTheAnswerMissed) {
  ASSERT_NO_FATAL_FAILURE(RunUpTo(GetParam()));
  terminal_.HangUp();
  const Outcome outcome = End();
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_THAT(outcome.output, AnyOf(EndsWith(Failure("Bad address")), EndsWith(kTransmitFailed)));
}

INSTANTIATE_TEST_SUITE_P(InterruptionTest, VanishedLine,
                         ::testing::Values(kActivation, kPing, kRepeatedQuestion, kRestoring,
                                           kInPacketZero, kInABlock, kStartOfTheApplication),
                         [](const auto& row) { return row.param.name; });

TEST_F(InterruptionTest, TheWaitForTheReceiverGoesOnUntilASignalEndsIt) {
  ASSERT_NO_FATAL_FAILURE(RunUpTo(kWaitForTheReceiver));
  terminal_.HangUp();
  constexpr std::chrono::milliseconds kForAWhile{300};
  EXPECT_FALSE(EndsWithin(kForAWhile));
  ExpectEndBySignal(SIGTERM);
}

TEST_F(InterruptionTest, ACalibrationFailsAtOnceOrAtItsLimit) {
  StartInFastTime({"--command", "0x4B"});
  BoardGets("K");
  BoardSends("KVO_CMD_CALIBRATE");
  const std::string begun = "\nKVO_CMD_CALIBRATE\0\n"s;
  UtilityShows(begun);
  terminal_.HangUp();
  const Outcome outcome = End();
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_THAT(outcome.output, AnyOf(begun + Failure("Bad address"),
                                    begun + Failure("Calibration failed. Exiting")));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
