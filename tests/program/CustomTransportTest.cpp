// The example custom_transport, with a simulated board on a socket and with a peer that goes away.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "program/Programs.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::HasSubstr;

class CustomTransportTest : public ::testing::Test {
 protected:
  Outcome Upload() const { return RunProgram({KVO_CUSTOM_TRANSPORT, socket_, image_}); }

  const TemporaryFolder folder_;
  const std::string socket_ = folder_.Path("socket");
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(20'000));
};

TEST_F(CustomTransportTest, FlashesABoardOnASocket) {
  SimulatedBoard board({"--socket", socket_});
  const Outcome outcome = Upload();
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.error_output, "");
  EXPECT_TRUE(board.Flash() == ImageOf(20'000)) << "the board holds another image";
  EXPECT_THAT(board.Trace(), HasSubstr("# application started"));
}

TEST_F(CustomTransportTest, TakesAnAnswerThatComesLaterThanARealLineWouldWait) {
  const SimulatedBoard board({"--socket", socket_, "--fault", "late=300@block:2"});
  const Outcome outcome = Upload();
  EXPECT_EQ(outcome.exit_status, 0) << outcome.error_output;
  EXPECT_TRUE(board.Flash() == ImageOf(20'000)) << "the board holds another image";
}

TEST_F(CustomTransportTest, ASilentBoardIsABootloaderThatDoesNotRespond) {
  const SimulatedBoard board(
      {"--socket", socket_, "--answer", "application:Q=", "--answer", "application:0="});
  const Outcome outcome = Upload();
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "custom_transport: Bootloader doesn't respond. Exiting\n");
}

TEST_F(CustomTransportTest, ABoardThatGoesAwayEndsTheWaitForIt) {
  const SimulatedBoard board({"--socket", socket_, "--fault", "hangup@start"});
  const Outcome outcome = Upload();
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "custom_transport: " + socket_ + ": The connection has been closed\n");
}

// The peer ends after the `Q`, within the second in which a board would switch.
TEST_F(CustomTransportTest, AWriteToAPeerThatHasGoneAwayIsAnErrorAndNoSignal) {
  RunningProgram peer({"bash", "-c", R"(exec socat -d -d -t0 "$@" 2>&1)", "bash",
                       "UNIX-LISTEN:" + socket_, "EXEC:head -c 1"});
  ASSERT_THAT(peer.FirstLine(), HasSubstr(" listening on AF=1 ")) << peer.Output();
  const Outcome outcome = Upload();
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "custom_transport: " + socket_ + ": Broken pipe\n");
}

TEST_F(CustomTransportTest, ASocketThatIsNotThereIsAnError) {
  const Outcome outcome = Upload();
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "custom_transport: " + socket_ + ": No such file or directory\n");
}

TEST_F(CustomTransportTest, APathThatIsTooLongForASocketIsAnError) {
  const std::string path(108, 'x');
  const Outcome outcome = RunProgram({KVO_CUSTOM_TRANSPORT, path, image_});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "custom_transport: Too long for a socket's path: " + path + "\n");
}

TEST_F(CustomTransportTest, MissingArgumentsGetTheUsage) {
  const Outcome outcome = RunProgram({KVO_CUSTOM_TRANSPORT, socket_});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "Usage: custom_transport SOCKET IMAGE\n");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
