// Each call of the system that the real program makes on its line, its image and its pipes fails,
// one at a time, by the fault injection of strace.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include "program/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

const std::string kBadAddress = Failure("Bad address");

// What a run comes to.
struct Result {
  int exit_status;
  std::string output;

  bool operator==(const Result&) const = default;
};

void PrintTo(const Result& result, std::ostream* out) {
  *out << "status " << result.exit_status << ", output " << ::testing::PrintToString(result.output);
}

// A run with a board that answers.
struct Conversation {
  std::string name;
  std::vector<std::string> arguments;
  std::vector<Exchange> exchanges;
  std::string printed;
  std::string printed_at_once = {};  // after the first answer, before the next request or read
  bool asks_again = false;           // if an answer can't be read
};

void PrintTo(const Conversation& run, std::ostream* out) { *out << run.name; }

const Conversation kPing = {"Ping", {"--command", "0x30"}, {{"0", "A"}}, ""};

class SystemCallFaultTest : public ::testing::Test {
 protected:
  // Starts a run in which the `count`th call of this name that concerns `path` meets `fault`, in
  // the words of strace: "error=EIO", "retval=0".
  void Start(const std::vector<std::string>& arguments, const std::string& path,
             const std::string& call, const std::string& fault, int count) {
    utility_ = StartUtility(arguments, tools_,
                            {"strace", "-qq", "-P", path, "-o", folder_.Path("calls"), "-e",
                             "inject=" + call + ":" + fault + ":when=" + std::to_string(count)});
  }

  // Waits for the end; what happened on the path before and by the fault is known then.
  Result End() {
    const Outcome outcome = OutcomeOf(*utility_);
    hit_.clear();
    answers_before_ = 0;
    std::istringstream calls(ReadFile(folder_.Path("calls")));
    for (std::string call; hit_.empty() && std::getline(calls, call);) {
      if (call.ends_with("(INJECTED)")) {
        hit_ = call;
      } else if (call.starts_with("read(") && !call.ends_with(" = 0")) {
        ++answers_before_;
      }
    }
    return {outcome.exit_status, outcome.output};
  }

  // A run with a board that gives each answer whenever its request comes.
  Result Run(const Conversation& run, const std::string& call, const std::string& fault,
             int count = 1) {
    const TestTerminal terminal;
    device_ = terminal.Path();
    std::vector<std::string> arguments = {device_, "115200"};
    arguments.insert(arguments.end(), run.arguments.begin(), run.arguments.end());
    Start(arguments, device_, call, fault, count);
    while (utility_->Wait(0ms) == -1) {
      const std::string request = terminal.Receive(1, 0ms);
      const auto found = std::ranges::find_if(run.exchanges, [&](const Exchange& exchange) {
        return !request.empty() && exchange.request.ends_with(request);
      });
      if (found != run.exchanges.end()) {
        SendIfStillOpen(terminal, found->answer);
        SendUnasked(run, found + 1, terminal);
      }
    }
    return End();
  }

  Result RunUpload(const SimulatedBoard& board, const std::string& path, const std::string& call,
                   const std::string& fault, int count = 1) {
    Start({board.Path(), "115200", image_, "--x"}, path, call, fault, count);
    return End();
  }

  // Lets the first call of a run fail, the second and so on, until none fails any more. `check` is
  // told what each run but the last came to, and that one must end as `complete` tells. Tells
  // whether any call failed.
  bool Sweep(const std::function<Result(int count)>& run, const Result& complete,
             const std::function<void(const Result& result, int count)>& check) {
    for (int count = 1;; ++count) {
      const Result result = run(count);
      if (hit_.empty()) {
        EXPECT_EQ(result, complete);
        return count > 1;
      }
      SCOPED_TRACE(std::to_string(count) + ": " + hit_);
      check(result, count);
      if (HasFailure()) {
        return true;
      }
    }
  }

  const TemporaryFolder folder_;
  const StandInTools tools_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", "");
  std::string device_;  // of the last run
  std::string hit_;     // the call that failed, as strace shows it; empty if there was none
  std::size_t answers_before_ = 0;  // that were read before it

 private:
  // What the board says of its own accord once its answer has been printed.
  void SendUnasked(const Conversation& run, std::vector<Exchange>::const_iterator next,
                   const TestTerminal& terminal) {
    if (next != run.exchanges.end() && next->request.empty() &&
        utility_->OutputBeginsWith(run.printed_at_once)) {
      SendIfStillOpen(terminal, next->answer);
    }
  }

  std::unique_ptr<RunningProgram> utility_;
};

std::vector<Conversation> Conversations() {
  std::vector<Conversation> runs;
  for (const Command& command : Commands()) {
    runs.push_back({command.name,
                    {"--command", Typed(command.code)},
                    command.exchanges,
                    command.printed,
                    command.prints_while_it_runs ? command.printed : "",
                    command.name == "PingBootloader" || command.name == "ActivateBootloader"});
  }
  runs.push_back({"Send", {"--send", "73"}, {{"s", "S1\r\n"}}, "S1\n"});
  runs.push_back({"ApplicationInfoMode",
                  {"--application_info", "--x"},
                  {{"9", "APP"}, {"6", ""}, {"0", "ping_callback_function"}},
                  "APP\0\n"s,
                  "APP\0\n"s});
  return runs;
}

class EachConversation : public SystemCallFaultTest,
                         public ::testing::WithParamInterface<Conversation> {
 protected:
  bool SweepOver(const std::string& call, const std::function<Result(int count)>& expected) {
    return Sweep([&](int count) { return Run(GetParam(), call, "error=EIO", count); },
                 Result{0, GetParam().printed},
                 [&](const Result& result, int count) { EXPECT_EQ(result, expected(count)); });
  }

  static Result SystemErrorAt(int count) {
    return {1, (count == 1 ? "" : GetParam().printed_at_once) + kBadAddress};
  }
};

TEST_P(EachConversation, EndsByASystemErrorWhereAWriteFails) {
  EXPECT_TRUE(SweepOver("write", SystemErrorAt));
}

TEST_P(EachConversation, EndsByASystemErrorOrAsksAgainWhereAReadFails) {
  const bool has_reads = SweepOver("read", [&](int count) {
    return GetParam().asks_again ? Result{0, GetParam().printed} : SystemErrorAt(count);
  });
  EXPECT_EQ(has_reads, GetParam().name != "RestoreDefaultParameters");
}

INSTANTIATE_TEST_SUITE_P(SystemCallFaultTest, EachConversation,
                         ::testing::ValuesIn(Conversations()),
                         [](const auto& row) { return row.param.name; });

TEST_F(SystemCallFaultTest, EachErrorOfAWriteIsTheSameSystemError) {
  for (const char* error : {"EINTR", "EAGAIN", "EBADF", "ENXIO", "EIO", "ENOSPC"}) {
    EXPECT_EQ(Run(kPing, "write", "error="s + error), (Result{1, kBadAddress})) << error;
  }
}

TEST_F(SystemCallFaultTest, EachErrorOfAByteReadIsAWrongAnswer) {
  for (const char* error : {"EINTR", "EAGAIN", "EBADF", "ENXIO", "EIO"}) {
    EXPECT_EQ(Run(kPing, "read", "error="s + error), (Result{0, ""})) << error;
    EXPECT_NE(hit_, "");
  }
}

TEST_F(SystemCallFaultTest, AByteThatIsNotWrittenThoughNothingFailedGetsNoAnswer) {
  EXPECT_EQ(Run(kPing, "write", "retval=0"), (Result{0, ""})) << "the second ping is answered";
  EXPECT_NE(hit_, "");
}

TEST_F(SystemCallFaultTest, AnEndOfFileIsATimeOut) {
  EXPECT_EQ(Run(kPing, "read", "retval=0"), (Result{0, ""})) << "the second ping is answered";
  EXPECT_NE(hit_, "");
  EXPECT_EQ(Run({"HardwareInfo", {"--command", "0x37"}, {{"7", "HW"}}, ""}, "read", "retval=0"),
            (Result{1, Failure("Invalid response (bootloader is probably not activated or command "
                               "is not implemented). Exiting")}));
}

TEST_F(SystemCallFaultTest, ADeviceThatDoesNotOpenIsNamed) {
  for (const char* error : {"EACCES", "EBUSY", "ENXIO", "EINTR", "EMFILE"}) {
    const Result result = Run(kPing, "openat", "error="s + error);
    EXPECT_EQ(result, (Result{1, Failure("Could not open device " + device_ +
                                         ". Is the device name correct and do you have read/write "
                                         "permission or is the device busy?")}))
        << error;
  }
}

TEST_F(SystemCallFaultTest, SettingsThatCannotBeReadOrAppliedAreToldAndAFlushThatFailsIsNot) {
  const auto check = [this](const Result& result, int count) {
    Result expected{0, ""};
    if (hit_.find("TCSETS") != std::string::npos) {
      expected = {1, "Could not apply terminal attributes for \"" + device_ +
                         "\" - Input/output error\n" + kBadAddress};
    } else if (count == 1) {  // the C library asks for them again, to no effect
      expected = {1, "Could not get terminal attributes for \"" + device_ +
                         "\" - Input/output error\n" + kBadAddress};
    }
    EXPECT_EQ(result, expected);
  };
  EXPECT_TRUE(Sweep([&](int count) { return Run(kPing, "ioctl", "error=EIO", count); },
                    Result{0, ""}, check));
}

TEST_F(SystemCallFaultTest, ACloseThatFailsOnTheWayOutOfAFailureEndsTheProcessAbnormally) {
  EXPECT_EQ(Run({"Invalid", {"--command", "zz"}, {}, ""}, "close", "error=EIO").exit_status,
            128 + SIGABRT);
}

// An upload of an image without a byte, each to a board of its own, as the one before may still
// receive.
class UploadUnderStrace : public SystemCallFaultTest {
 protected:
  bool SweepOver(const std::string& call,
                 const std::function<void(const Result& result, bool has_image)>& check) {
    std::unique_ptr<SimulatedBoard> board;
    const auto run = [&](int count) {
      board = std::make_unique<SimulatedBoard>(
          std::vector<std::string>{"--board", "tv", "--state", "bootloader"});
      return RunUpload(*board, board->Path(), call, "error=EIO", count);
    };
    return Sweep(run, Result{0, uploaded_},
                 [&](const Result& result, int /*count*/) { check(result, board->HasFlash()); });
  }

  const std::string packet_zero_ = PacketZeroForTv("0................") + kPacketZeroSent;
  const std::string accepted_ = kReceiverAsked + packet_zero_ + kPacketZeroAccepted;
  const std::string uploaded_ = accepted_ + kTransferComplete;
};

TEST_F(UploadUnderStrace, EndsByASystemErrorWhereAWriteFailsAndTheBoardHasNoImage) {
  EXPECT_TRUE(SweepOver("write", [](const Result& result, bool has_image) {
    ASSERT_EQ(result.exit_status, 1);
    ASSERT_TRUE(result.output.ends_with(kBadAddress)) << result.output;
    ASSERT_FALSE(has_image);
  }));
}

TEST_F(UploadUnderStrace, TakesAReadThatFailsForAWrongAnswer) {
  // By the answers that were read before: 'C', ACK 'C', ACK 'C', ACK 'O'. What could not be read is
  // read next.
  const std::vector<Result> results = {
      {0, uploaded_},
      {1, kReceiverAsked + packet_zero_ + kGivenUp + kTransmitFailed},
      // Packet 0 goes out twice more and is accepted each time, so that each further answer is an
      // older one's.
      {1, kReceiverAsked + packet_zero_ + kPacketZeroAcknowledged + packet_zero_ +
              kPacketZeroAskedForAgain + packet_zero_ + kPacketZeroAccepted + kTransferComplete +
              kVerdictFailed},
      {1, accepted_ + kTransmitFailed},
      {1, uploaded_ + kVerdictFailed},
      {0, uploaded_},  // the closing packet goes out again
      {1, uploaded_ + kVerdictFailed}};
  EXPECT_TRUE(SweepOver("read", [&](const Result& result, bool /*has_image*/) {
    EXPECT_EQ(result, results.at(answers_before_));
  }));
}

TEST_F(UploadUnderStrace, NamesAnImageThatCannotBeOpenedOrRead) {
  folder_.WriteFile("fw_tv.bin", "image");
  const SimulatedBoard board({"--state", "bootloader"});
  EXPECT_EQ(RunUpload(board, image_, "openat", "error=EACCES"),
            (Result{1, Failure("Unable to open file : " + image_)}));
  EXPECT_EQ(RunUpload(board, image_, "openat", "error=EMFILE"),
            (Result{1, Failure("Unable to open file : " + image_)}));
  EXPECT_EQ(RunUpload(board, image_, "read", "error=EIO"),
            (Result{1, Failure("Unable to read file : " + image_)}));
}

TEST_F(SystemCallFaultTest, APipeThatCannotBeMadeIsTold) {
  const auto utility = StartUtility(
      {"/dev/no-such-port", "115200", "--command", "0x30"}, tools_,
      {"strace", "-qq", "-o", folder_.Path("calls"), "-e", "inject=pipe2:error=EMFILE:when=1"});
  const Outcome outcome = OutcomeOf(*utility);
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output, Failure("popen() failed!"));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
