// Boards at a serial server's raw connection: the real ser2net in front of a pseudo-terminal.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>

#include "program/boards/BoardsProgram.h"
#include "simulator/UniqueDescriptor.h"

namespace kvo::bootloadertms::testing {
namespace {

// A port of this machine, of the system's choice.
class BoundSocket {
 public:
  BoundSocket() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address_);
    ::bind(socket_, Address(), length);
    ::getsockname(socket_, Address(), &length);
  }
  BoundSocket(const BoundSocket&) = delete;
  BoundSocket& operator=(const BoundSocket&) = delete;
  ~BoundSocket() { ::close(socket_); }

  int Number() const { return ::ntohs(address_.sin_port); }
  std::string Name() const { return "tcp:127.0.0.1:" + std::to_string(Number()); }

  void Listen() { ::listen(socket_, 1); }

  // Listens, and has one connection too many already: no further one is answered.
  void ListenWithoutRoom() {
    ::listen(socket_, 0);
    waiting_.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ::connect(waiting_.back().Get(), Address(), sizeof(address_));
  }

 private:
  sockaddr* Address() { return reinterpret_cast<sockaddr*>(&address_); }

  int socket_;
  sockaddr_in address_{};
  std::vector<boardsimulator::UniqueDescriptor> waiting_;
};

bool Listens(int port) {
  std::array<char, 8> hexadecimal{};
  std::snprintf(hexadecimal.data(), hexadecimal.size(), "%04X", static_cast<unsigned>(port));
  return ReadFile("/proc/net/tcp")
             .find(":" + std::string(hexadecimal.data()) + " 00000000:0000 0A") !=
         std::string::npos;
}

// A serial server that leads to a device, until it is ended.
class SerialServer {
 public:
  explicit SerialServer(const std::string& device)
      : port_(BoundSocket().Number()),
        program_({"ser2net", "-n", "-u", "-c",
                  folder_.WriteFile("ser2net.yaml",
                                    "connection: &board\n"
                                    "  accepter: tcp,127.0.0.1," +
                                        std::to_string(port_) +
                                        "\n"
                                        "  connector: serialdev," +
                                        device + ",1000000n81,local\n")}) {
    EXPECT_TRUE(program_.WaitUntil([this] { return Listens(port_); }, std::chrono::seconds(60)))
        << program_.ErrorOutput();
  }

  std::string Name() const { return "tcp:127.0.0.1:" + std::to_string(port_); }
  void End() {
    program_.Signal(SIGTERM);
    EXPECT_NE(program_.Wait(), -1);
  }

 private:
  const TemporaryFolder folder_;
  const int port_;
  RunningProgram program_;
};

class TcpTest : public ::testing::Test {
 protected:
  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(20000));
};

TEST_F(TcpTest, AnImageArrivesThroughASerialServer) {
  const SimulatedBoard board({});
  const SerialServer server(board.Path());
  const Report report =
      RunBoards({"flash", "--json", "--answer-timeout", "5000", image_, server.Name()});
  EXPECT_EQ(report.exit_status, 0) << report.output << report.error_output;
  EXPECT_THAT(report.Only("finished", server.Name()), HasFields(Json{{"result", "flashed"}}));
  EXPECT_TRUE(board.Flash() == ReadFile(image_));
}

TEST_F(TcpTest, TheDefaultTimesFitASerialServerToo) {
  const SimulatedBoard board({"--state", "bootloader", "--fault", "late=900@block:3"});
  const SerialServer server(board.Path());
  const Report report = RunBoards({"flash", "--json", "--no-switch", image_, server.Name()});
  EXPECT_EQ(report.exit_status, 0) << report.output << report.error_output;
  EXPECT_TRUE(board.Flash() == ReadFile(image_));
}

TEST_F(TcpTest, ABoardIsAskedThroughASerialServer) {
  const SimulatedBoard board({"--serial", "SN 7"});
  const SerialServer server(board.Path());
  const Report report = RunBoards({"info", "--json", server.Name()});
  EXPECT_EQ(report.exit_status, 0) << report.output << report.error_output;
  EXPECT_THAT(report.Only("info", server.Name()),
              HasFields(Json{
                  {"state", "application"}, {"serial", "SN 7"}, {"boot_status", "BOOT_NORMAL"}}));
}

TEST_F(TcpTest, NobodyListeningIsUnreachable) {
  const BoundSocket nobody;
  const Report report = RunBoards({"flash", "--json", image_, nobody.Name()});
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_THAT(report.Only("finished", nobody.Name()), FailedBy("unreachable"));
}

TEST_F(TcpTest, NoBoardGetsAByteBeforeAServerThatDoesNotAnswerIsGivenUp) {
  const PlayedBoard board;
  BoundSocket full;
  full.ListenWithoutRoom();
  const auto program = StartBoards({"flash", "--json", image_, board.Path(), full.Name()});
  EXPECT_EQ(board.Terminal().Receive(1, std::chrono::seconds(1)), "");
  EXPECT_EQ(board.Terminal().Receive(1, std::chrono::seconds(60)), "Q");
  program->Signal(SIGINT);
  EXPECT_THAT(ReportOf(*program).Only("finished", full.Name()), FailedBy("unreachable"));
}

class TcpFaultSweep : public TcpTest, public ::testing::WithParamInterface<const char*> {};

// The server never says anything, which is of no matter: it isn't reached.
TEST_P(TcpFaultSweep, AConnectionThatTheSystemRefusesIsUnreachableAndHarmsNoOtherBoard) {
  BoundSocket server;
  server.Listen();
  const SimulatedBoard other({"--state", "bootloader"});
  const std::string failing = "1 " + std::string(GetParam()) + " 1 1 " + std::to_string(ENOBUFS);
  RunningProgram program(std::vector<std::string>{KVO_BOARDS} + kTransferAlone +
                             std::vector<std::string>{image_, server.Name(), other.Path()},
                         {{"LD_PRELOAD", KVO_FAILING_CALLS_LIBRARY},
                          {"KVO_FAILING_CALLS", failing + " " + folder_.Path("failures")}});
  const Report report = ReportOf(program);
  EXPECT_EQ(report.exit_status, 1);
  const Json finished = report.Only("finished", server.Name());
  EXPECT_THAT(finished, FailedBy("unreachable"));
  EXPECT_EQ(finished.value("message", ""), "no connection: No buffer space available");
  EXPECT_TRUE(other.Flash() == ReadFile(image_));
}

INSTANTIATE_TEST_SUITE_P(, TcpFaultSweep, ::testing::Values("socket", "connect", "setsockopt"),
                         [](const auto& call) { return call.param; });

TEST_F(TcpTest, AConnectionThatBreaksIsLost) {
  const PlayedBoard board;
  SerialServer server(board.Path());
  const auto program = StartBoards(
      {"flash", "--json", "--no-switch", "--answer-timeout", "25000", image_, server.Name()});
  ASSERT_NO_FATAL_FAILURE(board.GetsABlockAfter(1));
  server.End();
  const Report report = ReportOf(*program);
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_THAT(report.Only("finished"), FailedBy("lost"));
  EXPECT_THAT(report.Only("finished"), HasFields(Json{{"block", 2}, {"blocks", 20}}));
}

TEST_F(TcpTest, AnInterruptEndsTheTransferAtTheBoard) {
  const PlayedBoard board;
  const SerialServer server(board.Path());
  const auto program = StartBoards(
      {"flash", "--json", "--no-switch", "--answer-timeout", "25000", image_, server.Name()});
  ASSERT_NO_FATAL_FAILURE(board.GetsABlockAfter(1));
  program->Signal(SIGINT);
  EXPECT_EQ(ReportOf(*program).exit_status, 128 + SIGINT);
  EXPECT_EQ(board.Terminal().Receive(2), kCanCan);
  EXPECT_EQ(board.Rest(), "");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
