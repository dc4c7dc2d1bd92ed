// What becomes of a run whose line vanishes, as when its adapter is unplugged, wherever it happens.
// A run that only reads from then on finds the line silent or broken: calibration and sending a
// byte have tests of their own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "program/Stages.h"
#include "program/UploadTexts.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::string_literals;
using ::testing::AnyOf;
using ::testing::EndsWith;

class VanishedLine : public RunUpToAStage, public ::testing::WithParamInterface<Stage> {};

TEST_P(VanishedLine, FailsTheRunByTheNextByteSentOrByTheAnswerMissed) {
  ASSERT_NO_FATAL_FAILURE(RunUpTo(GetParam()));
  terminal_.HangUp();
  const Outcome outcome = End();
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_THAT(outcome.output, AnyOf(EndsWith(Failure("Bad address")), EndsWith(kTransmitFailed)));
}

INSTANTIATE_TEST_SUITE_P(VanishedLineTest, VanishedLine,
                         ::testing::Values(kActivation, kPing, kRepeatedQuestion, kRestoring,
                                           kPacketZero, kBlock, kStartOfTheApplication),
                         [](const auto& row) { return row.param.name; });

class VanishedLineTest : public RunUpToAStage {};

TEST_F(VanishedLineTest, TheWaitForTheReceiverGoesOnUntilASignalEndsIt) {
  ASSERT_NO_FATAL_FAILURE(RunUpTo(kWaitForTheReceiver));
  terminal_.HangUp();
  constexpr std::chrono::milliseconds kForAWhile{300};
  EXPECT_FALSE(EndsWithin(kForAWhile));
  ExpectEndBySignal(SIGTERM);
}

TEST_F(VanishedLineTest, ACalibrationFailsAtOnceOrAtItsLimit) {
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
