// The example custom_transport, with a serial server and with a peer that misbehaves.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "program/Programs.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

int Checked(int result, const char* what) {
  if (result == -1) {
    throw std::system_error(errno, std::system_category(), what);
  }
  return result;
}

void WaitForInput(int descriptor, const char* what) {
  constexpr int kLimitMs = 60'000;
  pollfd ready{.fd = descriptor, .events = POLLIN, .revents = 0};
  if (Checked(::poll(&ready, 1, kLimitMs), "poll") == 0) {
    throw std::runtime_error(std::string("no ") + what);
  }
}

// The far end of one TCP connection to this machine, on a port of the system's choice. Everything
// that doesn't happen within a generous time is a `std::runtime_error`.
class TcpPeer {
 public:
  // The port is this object's own from now on; connections to it are refused until `Listen`.
  TcpPeer() : listener_(Checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    Checked(::bind(listener_, any, length), "bind");
    Checked(::getsockname(listener_, any, &length), "getsockname");
    address_ = "127.0.0.1:" + std::to_string(::ntohs(address.sin_port));
  }
  TcpPeer(const TcpPeer&) = delete;
  TcpPeer& operator=(const TcpPeer&) = delete;
  ~TcpPeer() {
    HangUp();
    ::close(listener_);
  }

  // As in "127.0.0.1:40123".
  const std::string& Address() const { return address_; }

  void Listen() const { Checked(::listen(listener_, 1), "listen"); }

  // Takes the connection that somebody makes.
  void Accept() {
    WaitForInput(listener_, "connection");
    connection_ = Checked(::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC), "accept");
  }

  // The next `count` bytes; fewer when the connection ends before.
  std::string Receive(std::size_t count) const {
    std::string received;
    while (received.size() < count) {
      WaitForInput(connection_, "bytes");
      std::string piece(count - received.size(), '\0');
      const ssize_t length = ::recv(connection_, piece.data(), piece.size(), 0);
      if (length <= 0) {
        break;
      }
      received.append(piece, 0, static_cast<std::size_t>(length));
    }
    return received;
  }

  void Send(const std::string& bytes) const {
    if (::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(bytes.size())) {
      throw std::runtime_error("the connection took fewer bytes");
    }
  }

  // Ends the connection. What has arrived and was not received makes it a reset.
  void HangUp() {
    if (connection_ != -1) {
      ::close(connection_);
      connection_ = -1;
    }
  }

 private:
  int listener_;
  int connection_ = -1;
  std::string address_;
};

// `socat` between a TCP port of the system's choice and a device, as the example's comment has it.
class SerialServer {
 public:
  explicit SerialServer(const std::string& device)
      : program_({"bash", "-c", R"(exec socat -d -d "$@" 2>&1)", "bash",
                  "TCP-LISTEN:0,bind=127.0.0.1,nodelay", "FILE:" + device + ",b115200,rawer"}) {
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
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(20'000));
  TcpPeer peer_;
};

TEST_F(CustomTransportTest, FlashesABoardBehindASerialServer) {
  SimulatedBoard board({"--board", "tv"});
  const SerialServer server(board.Path());
  const Outcome outcome = RunProgram({KVO_CUSTOM_TRANSPORT, server.Address(), image_});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.error_output, "");
  EXPECT_TRUE(board.Flash() == ImageOf(20'000)) << "the board holds another image";
  EXPECT_THAT(board.Trace(), HasSubstr("# application started"));
}

TEST_F(CustomTransportTest, TakesAnAnswerThatComesLaterThanALocalLineWouldWait) {
  SimulatedBoard board({"--board", "tv", "--fault", "late=300@block:2"});
  const SerialServer server(board.Path());
  const Outcome outcome = RunProgram({KVO_CUSTOM_TRANSPORT, server.Address(), image_});
  EXPECT_EQ(outcome.exit_status, 0) << outcome.error_output;
  EXPECT_TRUE(board.Flash() == ImageOf(20'000)) << "the board holds another image";
}

TEST_F(CustomTransportTest, ARefusedConnectionIsAnError) {
  const Outcome outcome = RunProgram({KVO_CUSTOM_TRANSPORT, peer_.Address(), image_});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "custom_transport: Can't connect to " + peer_.Address() + ": Connection refused\n");
}

TEST_F(CustomTransportTest, ASilentPeerIsABootloaderThatDoesNotRespond) {
  peer_.Listen();
  const Outcome outcome = RunProgram({KVO_CUSTOM_TRANSPORT, peer_.Address(), image_});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "custom_transport: Bootloader doesn't respond. Exiting\n");
  peer_.Accept();
  EXPECT_EQ(peer_.Receive(100),
            "Q\x18\x18"
            "000000000");
}

TEST_F(CustomTransportTest, APeerThatGoesAwayEndsTheWaitForTheBoard) {
  peer_.Listen();
  const auto example = StartProgram({KVO_CUSTOM_TRANSPORT, peer_.Address(), image_}, tools_);
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
  const auto example = StartProgram({KVO_CUSTOM_TRANSPORT, peer_.Address(), image_}, tools_);
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
  const Outcome outcome = RunProgram({KVO_CUSTOM_TRANSPORT, "127.0.0.1", image_});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "custom_transport: Not of the form HOST:PORT: 127.0.0.1\n");
}

TEST_F(CustomTransportTest, APortThatIsNotKnownIsAnError) {
  const Outcome outcome = RunProgram({KVO_CUSTOM_TRANSPORT, "127.0.0.1:no-such-port", image_});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "custom_transport: Can't find 127.0.0.1:no-such-port: Servname not supported for "
            "ai_socktype\n");
}

TEST_F(CustomTransportTest, MissingArgumentsGetTheUsage) {
  const Outcome outcome = RunProgram({KVO_CUSTOM_TRANSPORT, peer_.Address()});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "Usage: custom_transport HOST:PORT IMAGE\n");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
