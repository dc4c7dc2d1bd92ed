// An upload to a receiver that is not this project's: `rb` of lrzsz.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>
#include <string>

#include "program/Programs.h"
#include "support/TestTerminal.h"
#include "tables/UploadTexts.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;

// `rb` with its input and output on one end of a socket pair; it changes the settings of a
// terminal.
class ReceivingTool {
 public:
  explicit ReceivingTool(const std::string& folder) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
      throw std::runtime_error("socketpair failed");
    }
    socket_ = ends[0];
    id_ = ::fork();
    if (id_ == 0) {
      ::dup2(ends[1], STDIN_FILENO);
      ::dup2(ends[1], STDOUT_FILENO);
      ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);
      if (::chdir(folder.c_str()) == 0) {
        ::execlp("rb", "rb", "-b", "-q", nullptr);
      }
      ::_exit(127);
    }
    ::close(ends[1]);
  }
  ReceivingTool(const ReceivingTool&) = delete;
  ReceivingTool& operator=(const ReceivingTool&) = delete;
  ~ReceivingTool() {
    ::close(socket_);
    ::kill(id_, SIGKILL);
    ::waitpid(id_, nullptr, 0);
  }

  void Send(const std::string& bytes) const {
    EXPECT_EQ(::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }

  // What it says within `limit`; empty when it says nothing.
  std::string Answer(std::chrono::milliseconds limit) const {
    pollfd ready{.fd = socket_, .events = POLLIN, .revents = 0};
    if (::poll(&ready, 1, static_cast<int>(limit.count())) != 1) {
      return "";
    }
    std::array<char, 64> answer{};
    const ssize_t length = ::read(socket_, answer.data(), answer.size());
    return {answer.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
  }

  // Its exit status.
  int Wait() const {
    int status = -1;
    ::waitpid(id_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  int socket_ = -1;
  pid_t id_ = -1;
};

void Require(const std::string& is, const std::string& expected, const char* step) {
  if (is != expected) {
    throw std::runtime_error(step + std::string(": ") + ::testing::PrintToString(is));
  }
}

// Plays the bootloader's part around the tool: takes the receive command, passes packets on and
// answers back, and gives the verdict. Throws `std::runtime_error` at a step that goes wrong.
class Relay {
 public:
  Relay(const TestTerminal& terminal, const ReceivingTool& tool)
      : terminal_(terminal), tool_(tool) {}

  void Run() {
    Require(terminal_.Receive(1), "1", "receive command");
    PassAnswer("C");
    PassPacket(128);
    PassAnswer(kAckAndC);
    while (PassBlockOrEndOfFile()) {
      PassAnswer("\x06");
    }
    PassPacket(128);
    PassAnswer("\x06");
    terminal_.Send("O");
  }

 private:
  static constexpr const char* kAckAndC =
      "\x06"
      "C";
  static constexpr std::chrono::milliseconds kSenderLimit{2000};

  // The tool is told of the end of file once and takes seconds to acknowledge it and to ask for the
  // next file; the sender, which reads for 100 ms, is kept asking by NAKs meanwhile. False once the
  // end is acknowledged.
  bool PassBlockOrEndOfFile() {
    const std::string header = terminal_.Receive(1, kSenderLimit);
    if (header == "\x02") {
      PassPacket(1024, header);
      return true;
    }
    Require(header, "\x04", "end of file");
    tool_.Send("\x04");
    std::string answer = tool_.Answer(20ms);
    while (answer.size() < 2) {
      terminal_.Send("\x15");
      Require(terminal_.Receive(1, kSenderLimit), "\x04", "end of file again");
      answer += tool_.Answer(20ms);
    }
    Require(answer, kAckAndC, "answer to the end of file");
    terminal_.Send(answer);
    return false;
  }

  void PassPacket(std::size_t data_size, std::string packet = "") {
    packet += terminal_.Receive(3 + data_size + 2 - packet.size(), kSenderLimit);
    Require(std::to_string(packet.size()), std::to_string(3 + data_size + 2), "whole packet");
    tool_.Send(packet);
  }

  void PassAnswer(const std::string& expected) {
    std::string answer;
    while (answer.size() < expected.size()) {
      const std::string more = tool_.Answer(20s);
      if (more.empty()) {
        throw std::runtime_error("the receiver is silent");
      }
      answer += more;
    }
    Require(answer, expected, "answer");
    terminal_.Send(answer);
  }

  const TestTerminal& terminal_;
  const ReceivingTool& tool_;
};

TEST(OtherReceiverTest, AnImageArrivesByteForByteAndIsFilledUpWithErasedFlash) {
  const std::string image = ImageOf(100'000);
  const TemporaryFolder images;
  const TemporaryFolder received;
  const StandInTools tools;
  const TestTerminal terminal;
  const auto utility = StartUtility(
      {terminal.Path(), "1000000", images.WriteFile("fw_tv.bin", image), "--x"}, tools);
  const ReceivingTool tool(received.Path(""));
  Relay(terminal, tool).Run();
  const Outcome outcome = OutcomeOf(*utility);
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.output, kReceiverAsked + PacketZeroForTv("100000...........") +
                                kPacketZeroSent + kPacketZeroAccepted + std::string(98, '.') +
                                kTransferComplete);
  EXPECT_EQ(tool.Wait(), 0);
  // Where others send a file name stands the length, so that is the name of the received file.
  EXPECT_TRUE(ReadFile(received.Path("100000")) == image + std::string(352, '\xFF'));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
