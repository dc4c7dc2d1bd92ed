#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <optional>
#include <ostream>
#include <thread>

#include "simulator/ChildProcess.h"
#include "simulator/HostPort.h"
#include "simulator/TemporaryFolder.h"

namespace kvo::boardsimulator {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

namespace fs = std::filesystem;

ProgramOutcome RunProgram(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), KVO_BOARD_SIMULATOR);
  return RunToItsEnd(arguments);
}

TEST(ProgramArgumentsTest, HelpNamesEachOptionAndEachFault) {
  const ProgramOutcome outcome = RunProgram({"--help"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.error, "");
  for (const std::string word : {"--help",
                                 "--version",
                                 "--board",
                                 "--state",
                                 "--switch-time",
                                 "--silence-time",
                                 "--link",
                                 "--line-rate",
                                 "--flash",
                                 "--trace",
                                 "--fault",
                                 "--ping-silence",
                                 "--identification",
                                 "ACTION@PLACE[/TIMES]",
                                 "block:N",
                                 "start  ",
                                 "packet0",
                                 "eot  ",
                                 "closing",
                                 "verdict",
                                 "nak  ",
                                 "c   ",
                                 "can  ",
                                 "byte=HH",
                                 "silence  ",
                                 "late=MS",
                                 "lost-ack",
                                 "double-ack",
                                 "hangup",
                                 "always"}) {
    EXPECT_THAT(outcome.output, HasSubstr(word));
  }
}

TEST(ProgramArgumentsTest, VersionIsPrinted) {
  const ProgramOutcome outcome = RunProgram({"--version"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_THAT(outcome.output, testing::MatchesRegex("kvo-board-simulator [0-9.]+\n"));
}

struct Mistake {
  std::vector<std::string> arguments;
  std::string complaint;
};

void PrintTo(const Mistake& mistake, std::ostream* output) {
  for (const std::string& argument : mistake.arguments) *output << argument << ' ';
}

class ProgramMistakeTest : public testing::TestWithParam<Mistake> {};

TEST_P(ProgramMistakeTest, EndsWithStatus2AndAComplaint) {
  const ProgramOutcome outcome = RunProgram(GetParam().arguments);
  EXPECT_EQ(outcome.exit_status, 2);
  EXPECT_EQ(outcome.output, "");
  EXPECT_THAT(outcome.error, HasSubstr(GetParam().complaint));
}

INSTANTIATE_TEST_SUITE_P(
    Each, ProgramMistakeTest,
    testing::Values(
        Mistake{{"--unknown"}, "--unknown"}, Mistake{{"surplus"}, "surplus"},
        Mistake{{"--board"}, "--board"}, Mistake{{"--board", "xx"}, "--board"},
        Mistake{{"--board", "TV"}, "--board"}, Mistake{{"--state", "off"}, "--state"},
        Mistake{{"--switch-time", "soon"},
                "--switch-time: 'soon' is not a number from 0 to 3600000"},
        Mistake{{"--switch-time", "-1"}, "--switch-time: '-1' is not a number"},
        Mistake{{"--switch-time", "3600001"}, "--switch-time: '3600001' is not a number"},
        Mistake{{"--silence-time", "0"}, "--silence-time: '0' is not a number from 1 to 3600000"},
        Mistake{{"--ping-silence", "1.5"}, "--ping-silence: '1.5' is not a number"},
        Mistake{{"--line-rate", "0"}, "--line-rate: '0' is not a number from 1 to 4294967295"},
        Mistake{{"--line-rate", "9600x"}, "--line-rate: '9600x' is not a number"},
        Mistake{{"--line-rate", "4294967296"}, "--line-rate: '4294967296' is not a number"},
        Mistake{{"--line-rate="}, "--line-rate"}, Mistake{{"--link"}, "--link"},
        Mistake{{"--flash"}, "--flash"}, Mistake{{"--trace"}, "--trace"},
        Mistake{{"--identification"}, "--identification"}, Mistake{{"--fault"}, "--fault"},
        Mistake{{"--fault", "nak"}, "--fault: fault 'nak': no '@', expected ACTION@PLACE[/TIMES]"},
        Mistake{{"--fault", "nak@eot", "--fault", "nak@eot/0"}, "--fault: fault 'nak@eot/0': "},
        Mistake{{"--fault", "nak@eot", "nak@closing"}, "nak@closing"}));

// The program at work; `device_` is what it printed first.
class ProgramTest : public testing::Test {
 protected:
  void Start(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), KVO_BOARD_SIMULATOR);
    SocketPair output;
    program_.emplace(arguments, -1, output.first.Get(), -1);
    output_.emplace(std::move(output.second));
    output.first.Close();
    device_ = ReadLine();
  }
  std::string ReadLine() {
    std::string line;
    for (Bytes byte = output_->Receive(1); !byte.empty(); byte = output_->Receive(1)) {
      if (byte.front() == '\n') return line;
      line += static_cast<char>(byte.front());
    }
    return "unfinished: " + line;
  }
  int Stop(int signal) {
    program_->Signal(signal);
    return program_->WaitForEnd();
  }
  HostPort OpenDevice() { return HostPort::Open(device_); }
  static std::string AnswerTo(HostPort& host, const Bytes& bytes, std::size_t answer_size) {
    host.Send(bytes);
    return ToHex(host.Receive(answer_size));
  }
  static void UploadOneBlock(HostPort& host) {
    EXPECT_EQ(AnswerTo(host, FromText("1"), 1), "43");
    EXPECT_EQ(AnswerTo(host, Packet(0, PacketZeroData("1000")), 2), "06 43");
    EXPECT_EQ(AnswerTo(host, Packet(1, Pattern(1024)), 1), "06");
    EXPECT_EQ(AnswerTo(host, FromHex("04"), 2), "06 43");
    host.Send(ClosingPacket());
  }

  TemporaryFolder folder_;
  std::optional<ChildProcess> program_;
  std::optional<HostPort> output_;
  std::string device_;
};

TEST_F(ProgramTest, PrintsTheDeviceAndNothingElse) {
  Start({});
  EXPECT_TRUE(fs::is_character_file(device_)) << device_;
  EXPECT_EQ(Stop(SIGTERM), 0);
  EXPECT_TRUE(output_->Receive(1).empty());
}

TEST_F(ProgramTest, LinkLeadsToTheDeviceUntilTheEnd) {
  for (const int signal : {SIGTERM, SIGINT}) {
    Start({"--link", folder_.PathOf("board")});
    EXPECT_EQ(fs::read_symlink(folder_.PathOf("board")), device_);
    EXPECT_EQ(Stop(signal), 0);
    EXPECT_EQ(folder_.CountFiles(), 0U);
  }
}

TEST_F(ProgramTest, ServesOneRunOfTheHostAfterTheOther) {
  Start({"--state", "bootloader"});
  for (int run = 0; run < 3; ++run) {
    HostPort host = OpenDevice();
    EXPECT_EQ(AnswerTo(host, FromText("0"), 1), "41");
  }
  EXPECT_EQ(Stop(SIGTERM), 0);
}

TEST_F(ProgramTest, ApplicationRunsAtTheStart) {
  Start({});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("0"), 24), ToHex(FromText("ping_callback_function\r\n")));
}

TEST_F(ProgramTest, GoodImageIsInTheFlashFileBeforeTheVerdict) {
  const std::string flash = folder_.PathOf("flash.bin");
  Start({"--state", "bootloader", "--flash", flash});
  HostPort host = OpenDevice();
  UploadOneBlock(host);
  EXPECT_EQ(ToHex(host.Receive(2)), "06 4f");
  EXPECT_EQ(ReadFile(flash), Pattern(1000));
}

TEST_F(ProgramTest, FlashFileThatCannotBeWrittenIsABadVerdict) {
  Start({"--state", "bootloader", "--flash", folder_.PathOf("missing/flash.bin")});
  HostPort host = OpenDevice();
  UploadOneBlock(host);
  EXPECT_EQ(ToHex(host.Receive(2)), "06 45");
}

TEST_F(ProgramTest, OtherBoardRefusesTheImage) {
  Start({"--state", "bootloader", "--board", "wk", "--silence-time", "200"});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("1"), 1), "43");
  EXPECT_EQ(AnswerTo(host, Packet(0, PacketZeroData("1000")), 1), "15");
}

TEST_F(ProgramTest, SwitchTimeOfZeroSwitchesAtOnce) {
  Start({"--switch-time", "0"});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("Q0"), 1), "41");
}

TEST_F(ProgramTest, TraceIsCompleteAfterTheEnd) {
  const std::string trace = folder_.PathOf("trace.txt");
  Start({"--state", "bootloader", "--trace", trace, "--line-rate", "1000000", "--fault",
         "byte=46@start"});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("0"), 1), "41");
  EXPECT_EQ(AnswerTo(host, FromText("1"), 1), "46");
  EXPECT_EQ(Stop(SIGTERM), 0);
  const std::string text = ReadTextFile(trace);
  EXPECT_THAT(text, HasSubstr(" # bootloader runs\n"));
  EXPECT_THAT(text, HasSubstr(" > 30                                               |0|\n"));
  EXPECT_THAT(text, HasSubstr(" < 41                                               |A|\n"));
  EXPECT_THAT(text, HasSubstr(" # receiving an image\n"));
  EXPECT_THAT(text, HasSubstr(" # fault byte=46@start\n"));
  EXPECT_THAT(text, HasSubstr(" < 46                                               |F|\n"));
  EXPECT_THAT(text, EndsWith(" # reception ended: cancelled by the board, 0 bytes\n"));
}

TEST_F(ProgramTest, PingSilenceLeavesTheFirstPingsUnanswered) {
  Start({"--state", "bootloader", "--ping-silence", "3"});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("0000z"), 4), "41 55 0d 0a");
}

TEST_F(ProgramTest, IdentificationIsAccepted) {
  Start({"--state", "bootloader", "--identification", "A|B|C|"});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("1"), 1), "43");
  const Bytes data = Padded(Padded(FromText("9"), 17, 0) + FromText("A|B|C|"), 128, 0);
  EXPECT_EQ(AnswerTo(host, Packet(0, data), 2), "06 43");
}

TEST_F(ProgramTest, HangUpClosesTheLineAndEndsTheProgramWell) {
  Start({"--state", "bootloader", "--link", folder_.PathOf("board"), "--fault", "hangup@packet0"});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("1"), 1), "43");
  host.Send(Packet(0, PacketZeroData("1000")));
  EXPECT_TRUE(host.Receive(1).empty());
  EXPECT_EQ(program_->WaitForEnd(), 0);
  EXPECT_EQ(folder_.CountFiles(), 0U);
}

TEST_F(ProgramTest, HostThatLeavesDuringAnUploadDoesNotEndTheProgram) {
  Start({"--state", "bootloader", "--silence-time", "50"});
  {
    HostPort host = OpenDevice();
    EXPECT_EQ(AnswerTo(host, FromText("1"), 1), "43");
    EXPECT_EQ(AnswerTo(host, Packet(0, PacketZeroData("1000")), 2), "06 43");
    host.Send(FromHex("02 01"));
  }
  HostPort host = OpenDevice();
  Bytes answer;
  for (int ping = 0; ping < 100 && (answer.empty() || answer.back() != 'A'); ++ping) {
    host.Send(FromText("0"));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    answer = host.ReceiveWhatIsThere();
  }
  ASSERT_FALSE(answer.empty());
  EXPECT_EQ(answer.back(), 'A');
  EXPECT_EQ(Stop(SIGTERM), 0);
}

TEST_F(ProgramTest, StopEndsEvenASlowLineAndALateAnswer) {
  Start({"--state", "bootloader", "--line-rate", "1"});
  HostPort host = OpenDevice();
  host.Send(FromText("0"));
  EXPECT_EQ(Stop(SIGTERM), 0);
  Start({"--state", "bootloader", "--fault", "late=3600000@start"});
  HostPort second = OpenDevice();
  second.Send(FromText("1"));
  EXPECT_EQ(Stop(SIGTERM), 0);
}

TEST(ProgramFailureTest, TraceThatCannotBeMadeIsStatus1) {
  const TemporaryFolder folder;
  const ProgramOutcome outcome = RunProgram({"--trace", folder.PathOf("missing/trace.txt")});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.error, "kvo-board-simulator: cannot write the trace " +
                               folder.PathOf("missing/trace.txt") +
                               ": No such file or directory\n");
}

TEST(ProgramFailureTest, LinkOverARegularFileIsStatus1) {
  const TemporaryFolder folder;
  WriteFile(folder.PathOf("board"), FromText("precious"));
  const ProgramOutcome outcome = RunProgram({"--link", folder.PathOf("board")});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(ReadTextFile(folder.PathOf("board")), "precious");
}

}  // namespace
}  // namespace kvo::boardsimulator
