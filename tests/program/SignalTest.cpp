// What a signal does to a run, wherever it comes, and that the port serves the next run.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "program/Stages.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::string_literals;

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

std::string NameOf(const ::testing::TestParamInfo<std::tuple<int, Stage>>& row) {
  const auto& [signal, stage] = row.param;
  return stage.name + "Sig"s + ::sigabbrev_np(signal);
}

INSTANTIATE_TEST_SUITE_P(
    SignalTest, Interrupted,
    ::testing::Combine(::testing::Values(SIGINT, SIGTERM, SIGHUP, SIGKILL),
                       ::testing::Values(kActivation, kPing, kPause, kCalibration,
                                         kRepeatedQuestion, kRestoring, kWaitForTheReceiver,
                                         kPacketZero, kBlock, kStartOfTheApplication)),
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
