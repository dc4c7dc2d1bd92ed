#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "program/Examples.h"
#include "program/TcpPeer.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

// `socat` between a TCP port of the system's choice and a device, as the example's comment has it.
class SerialServer {
 public:
  explicit SerialServer(const std::string& device)
      : program_({"bash", "-c", R"(exec socat -d -d "$@" 2>&1)", "bash",
                  "TCP-LISTEN:0,bind=127.0.0.1,nodelay", "FILE:" + device + ",b115200,rawer"}) {
    program_.Prefer();
    const std::string listening = program_.FirstLine();
    EXPECT_THAT(listening, HasSubstr(" listening on AF=2 127.0.0.1:")) << program_.Output();
    address_ = "127.0.0.1" + listening.substr(listening.rfind(':'));
  }

  const std::string& Address() const { return address_; }

 private:
  RunningProgram program_;
  std::string address_;
};

class CustomTransportTest : public ::testing::Test {
 protected:
  // Plays a board up to the moment when an upload waits to be asked for its first packet.
  void SwitchToAnUpload() {
    peer_.Accept();
    ASSERT_EQ(peer_.Receive(4),
              "Q\x18\x18"
              "0");
    peer_.Send("A");
    ASSERT_EQ(peer_.Receive(1), "1");
  }

  const TemporaryFolder folder_;
  const StandInTools tools_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ExampleImage(20'000));
  TcpPeer peer_;
};

TEST_F(CustomTransportTest, FlashesABoardBehindASerialServer) {
  SimulatedBoard board({"--board", "tv"});
  const SerialServer server(board.Path());
  const Outcome outcome = RunExample({KVO_CUSTOM_TRANSPORT, server.Address(), image_});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.error_output, "");
  EXPECT_TRUE(board.Flash() == ExampleImage(20'000)) << "the board holds another image";
  EXPECT_THAT(board.Trace(), HasSubstr("# application started"));
}

TEST_F(CustomTransportTest, TakesAnAnswerThatComesLaterThanALocalLineWouldWait) {
  SimulatedBoard board({"--board", "tv", "--fault", "late=300@block:2"});
  const SerialServer server(board.Path());
  const Outcome outcome = RunExample({KVO_CUSTOM_TRANSPORT, server.Address(), image_});
  EXPECT_EQ(outcome.exit_status, 0) << outcome.error_output;
  EXPECT_TRUE(board.Flash() == ExampleImage(20'000)) << "the board holds another image";
}

TEST_F(CustomTransportTest, ARefusedConnectionIsAnError) {
  const Outcome outcome = RunExample({KVO_CUSTOM_TRANSPORT, peer_.Address(), image_});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "custom_transport: Can't connect to " + peer_.Address() + ": Connection refused\n");
}

TEST_F(CustomTransportTest, ASilentPeerIsABootloaderThatDoesNotRespond) {
  peer_.Listen();
  const Outcome outcome = RunExample({KVO_CUSTOM_TRANSPORT, peer_.Address(), image_});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "custom_transport: Bootloader doesn't respond. Exiting\n");
  peer_.Accept();
  EXPECT_EQ(peer_.Receive(100),
            "Q\x18\x18"
            "000000000");
}

TEST_F(CustomTransportTest, APeerThatGoesAwayEndsTheWaitForTheBoard) {
  peer_.Listen();
  const auto example = StartExample({KVO_CUSTOM_TRANSPORT, peer_.Address(), image_}, tools_);
  ASSERT_NO_FATAL_FAILURE(SwitchToAnUpload());
  peer_.HangUp();
  const Outcome outcome = OutcomeOf(*example);
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "custom_transport: " + peer_.Address() + " has closed the connection\n");
}

// The peer has the second in which the board would switch.
TEST_F(CustomTransportTest, AWriteToAPeerThatHasGoneAwayIsAnErrorAndNoSignal) {
  peer_.Listen();
  const auto example = StartExample({KVO_CUSTOM_TRANSPORT, peer_.Address(), image_}, tools_);
  peer_.Accept();
  ASSERT_EQ(peer_.Receive(1), "Q");
  peer_.HangUp();
  const Outcome outcome = OutcomeOf(*example);
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_THAT(outcome.error_output,
              MatchesRegex("custom_transport: Can't (write to|read from) 127[.]0[.]0[.]1:[0-9]+: "
                           "(Broken pipe|Connection reset by peer)\n"));
}

TEST_F(CustomTransportTest, AnAddressWithoutAPortIsAnError) {
  const Outcome outcome = RunExample({KVO_CUSTOM_TRANSPORT, "127.0.0.1", image_});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "custom_transport: Not of the form HOST:PORT: 127.0.0.1\n");
}

TEST_F(CustomTransportTest, APortThatIsNotKnownIsAnError) {
  const Outcome outcome = RunExample({KVO_CUSTOM_TRANSPORT, "127.0.0.1:no-such-port", image_});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "custom_transport: Can't find 127.0.0.1:no-such-port: Servname not supported for "
            "ai_socktype\n");
}

TEST_F(CustomTransportTest, MissingArgumentsGetTheUsage) {
  const Outcome outcome = RunExample({KVO_CUSTOM_TRANSPORT, peer_.Address()});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "Usage: custom_transport HOST:PORT IMAGE\n");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
