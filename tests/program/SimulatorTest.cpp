#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <optional>
#include <ostream>
#include <thread>

#include "simulator/Line.h"
#include "unit/simulator/ChildProcess.h"
#include "unit/simulator/HostPort.h"
#include "unit/simulator/TemporaryFolder.h"

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
                                 "--socket",
                                 "--line-rate",
                                 "--flash",
                                 "--trace",
                                 "--fault",
                                 "--ping-silence",
                                 "--identification",
                                 "--serial",
                                 "--hardware ",
                                 "--product",
                                 "--version-upper",
                                 "--version-lower",
                                 "--boot-status",
                                 "--hardware-info",
                                 "--bootloader-info",
                                 "--application-info",
                                 "--answer CODE=TEXT",
                                 "--unknown",
                                 "--ask-again WORD@CODE[/TIMES]",
                                 "--calibration-lines",
                                 "--calibration-interval",
                                 "--calibration-refused",
                                 "--config FILE",
                                 "--line-end",
                                 "--answer-delay",
                                 "--pieces N[:MS]",
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
        Mistake{{"--no-such"}, "--no-such"}, Mistake{{"surplus"}, "surplus"},
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
        Mistake{{"--socket"}, "--socket"},
        Mistake{{"--socket", "a", "--link", "b"}, "--link excludes --socket"},
        Mistake{{"--flash"}, "--flash"}, Mistake{{"--trace"}, "--trace"},
        Mistake{{"--identification"}, "--identification"}, Mistake{{"--serial"}, "--serial"},
        Mistake{{"--serial", "\\"}, "--serial: unknown escape '\\'"},
        Mistake{{"--application-info", "\\xg0"}, "--application-info: '\\x' needs two"},
        Mistake{{"--answer"}, "--answer"},
        Mistake{{"--answer", "s=ok", "--answer", "s"}, "--answer: answer 's': no '='"},
        Mistake{{"--answer", "host:s=x"}, "--answer: answer 'host:s=x': 'host:s' is no code"},
        Mistake{{"--answer", "0x1=x"}, "--answer: answer '0x1=x': '0x1' is no code"},
        Mistake{{"--unknown"}, "--unknown"}, Mistake{{"--unknown", ""}, "--unknown: no code given"},
        Mistake{{"--unknown", "\\q"}, "--unknown: unknown escape '\\q'"},
        Mistake{{"--ask-again"}, "--ask-again"},
        Mistake{{"--ask-again", "can"}, "--ask-again: 'can': expected WORD@[application:|boot"},
        Mistake{{"--ask-again", "can@s", "--ask-again", "can@s/0"}, "--ask-again: 'can@s/0': "},
        Mistake{
            {"--calibration-lines", "ever"},
            "--calibration-lines: if not 'endless', the count of lines must be a number from 0"},
        Mistake{{"--calibration-interval", "0"}, "--calibration-interval: '0' is not a number"},
        Mistake{{"--calibration-interval", "9s"}, "--calibration-interval: '9s' is not a number"},
        Mistake{{"--calibration-refused=maybe"}, "--calibration-refused"},
        Mistake{{"--config"}, "--config"},
        Mistake{{"--config", "./no-such.ini"}, "./no-such.ini was not readable"},
        Mistake{{"--line-end", "CRLF"}, "--line-end"},
        Mistake{{"--answer-delay", "-1"}, "--answer-delay: '-1' is not a number"},
        Mistake{{"--answer-delay", "3600001"}, "--answer-delay: '3600001' is not a number"},
        Mistake{{"--pieces", "0"}, "--pieces: the size of a piece must be a number from 1"},
        Mistake{{"--pieces", "2:"}, "--pieces: the milliseconds between two pieces must be"},
        Mistake{{"--pieces", "2:5:6"}, "--pieces: the milliseconds between two pieces must be"},
        Mistake{{"--fault"}, "--fault"},
        Mistake{{"--fault", "nak"}, "--fault: fault 'nak': no '@', expected ACTION@PLACE[/TIMES]"},
        Mistake{{"--fault", "nak@eot", "--fault", "nak@eot/0"}, "--fault: fault 'nak@eot/0': "},
        Mistake{{"--fault", "nak@eot", "nak@closing"}, "nak@closing"}));

TEST(ProgramConfigMistakeTest, EndsWithStatus2AndAComplaint) {
  const TemporaryFolder folder;
  const std::vector<std::pair<std::string, std::string>> mistakes{
      {"no-such=1", "no-such"},
      {"config=other", "config"},
      {"switch-time=soon", "--switch-time: 'soon' is not a number from 0 to 3600000"},
      {"serial=1\nserial=2", "--serial"},
      {"answer=s=1\nanswer=h", "--answer: answer 'h': no '='"},
      {"calibration-refused=maybe", "--calibration-refused"}};
  for (const auto& [text, complaint] : mistakes) {
    WriteFile(folder.PathOf("board.ini"), FromText(text + "\n"));
    const ProgramOutcome outcome = RunProgram({"--config", folder.PathOf("board.ini")});
    EXPECT_EQ(outcome.exit_status, 2) << text;
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.error, HasSubstr(complaint));
  }
}

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
  static bool ComesIntoFile(const std::string& path, const std::string& text) {
    const TimePoint limit = Clock::now() + std::chrono::seconds(30);
    while (Clock::now() < limit) {
      if (ReadTextFile(path).find(text) != std::string::npos) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
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

TEST_F(ProgramTest, ServesHostsOnASocket) {
  const std::string trace = folder_.PathOf("trace.txt");
  Start({"--socket", folder_.PathOf("board"), "--state", "bootloader", "--trace", trace});
  EXPECT_EQ(device_, folder_.PathOf("board"));
  for (int run = 0; run < 2; ++run) {
    HostPort host = HostPort::Connect(device_);
    EXPECT_EQ(AnswerTo(host, FromText("0"), 1), "41");
  }
  EXPECT_EQ(Stop(SIGTERM), 0);
  EXPECT_EQ(folder_.CountFiles(), 1U) << "beside the trace";
}

TEST_F(ProgramTest, HangUpClosesTheSocketAndEndsTheProgramWell) {
  Start(
      {"--socket", folder_.PathOf("board"), "--state", "bootloader", "--fault", "hangup@packet0"});
  HostPort host = HostPort::Connect(device_);
  EXPECT_EQ(AnswerTo(host, FromText("1"), 1), "43");
  host.Send(Packet(0, PacketZeroData("1000")));
  EXPECT_TRUE(host.Receive(1).empty());
  EXPECT_EQ(program_->WaitForEnd(), 0);
  EXPECT_EQ(folder_.CountFiles(), 0U);
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

TEST_F(ProgramTest, EachNamedTextAnswersItsCode) {
  Start({"--state",           "bootloader", "--serial",           "S1",
         "--hardware",        "H2",         "--product",          "P3",
         "--version-upper",   "V4",         "--version-lower",    "v5",
         "--boot-status",     "B6",         "--hardware-info",    "7\\x2d",
         "--bootloader-info", "8+",         "--application-info", "9 "});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("shpVvb789"), 36),
            ToHex(FromText("S1\r\nH2\r\nP3\r\nV4\r\nv5\r\nB6\r\n7-\r\n8+\r\n9 \r\n")));
}

TEST_F(ProgramTest, EmptyTextLeavesTheLineEnd) {
  Start({"--serial", ""});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("s"), 2), "0d 0a");
}

TEST_F(ProgramTest, GivenAnswersAreSentAsTheyAre) {
  Start({"--answer", "9=OK;\\r\\n", "--serial", "S1", "--answer", "application:s=[a,b]",
         "--answer=0x07=\\0", "--answer", "h="});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("h9s\x07"), 11), ToHex(FromText("OK;\r\n[a,b]")) + " 00");
}

TEST_F(ProgramTest, UnknownCodesAreRefusedByTheBootloader) {
  Start({"--state", "bootloader", "--unknown", "hs", "--unknown", "\\x70"});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("hsp0"), 10), "55 0d 0a 55 0d 0a 55 0d 0a 41");
}

TEST_F(ProgramTest, WordsToAskAgainComeInTheirOrder) {
  Start({"--ask-again", "Cannot@s/2", "--ask-again", "a\\x40b@s"});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("ssss"), 31),
            ToHex(FromText("Cannot\r\nCannot\r\na@b\r\nSN000042\r\n")));
}

TEST_F(ProgramTest, CalibrationHasItsLinesAndItsTime) {
  Start({"--calibration-lines", "2", "--calibration-interval", "40"});
  HostPort host = OpenDevice();
  const TimePoint start = Clock::now();
  EXPECT_EQ(AnswerTo(host, FromText("K"), 64),
            ToHex(FromText("KVO_CMD_CALIBRATE\r\ncalibration step 1\r\ncalibration step 2\r\n"
                           "---\r\n")));
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(120));
}

TEST_F(ProgramTest, EndlessCalibrationEndsWithItsHost) {
  const std::string trace = folder_.PathOf("trace.txt");
  Start({"--calibration-lines", "endless", "--calibration-interval", "1", "--trace", trace,
         "--line-rate", "10000000"});
  {
    HostPort host = OpenDevice();
    EXPECT_EQ(AnswerTo(host, FromText("K"), 19), ToHex(FromText("KVO_CMD_CALIBRATE\r\n")));
    EXPECT_EQ(host.Receive(1000).size(), 1000U);
  }
  EXPECT_TRUE(ComesIntoFile(trace, "calibration ended: the host has gone"));
  HostPort next_host = OpenDevice();
  next_host.ReceiveWhatIsThere();  // what the former one left unread
  EXPECT_EQ(AnswerTo(next_host, FromText("s"), 10), ToHex(FromText("SN000042\r\n")));
}

TEST_F(ProgramTest, RefusedCalibrationGetsNoAnswer) {
  Start({"--calibration-refused"});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("Ks"), 10), ToHex(FromText("SN000042\r\n")));
}

TEST_F(ProgramTest, DefaultParametersAreRestored) {
  const std::string trace = folder_.PathOf("trace.txt");
  Start({"--trace", trace});
  HostPort host = OpenDevice();
  for (const char byte : {'Q', '6', 't', 'C', 'R', 'L'}) {
    host.Send({static_cast<std::uint8_t>(byte)});
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
  }
  EXPECT_EQ(AnswerTo(host, FromText("0"), 24), ToHex(FromText("ping_callback_function\r\n")));
  EXPECT_THAT(ReadTextFile(trace), HasSubstr("# default parameters restored, gaps in ms: "));
}

TEST_F(ProgramTest, BurstRestoresNothingAndIsASwitch) {
  const std::string trace = folder_.PathOf("trace.txt");
  Start({"--trace", trace, "--switch-time", "0"});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("Q60"), 1), "41");
  EXPECT_THAT(ReadTextFile(trace), HasSubstr("# default parameters not restored: '6' after "));
}

TEST_F(ProgramTest, OptionsMayComeFromAFile) {
  WriteFile(folder_.PathOf("board.ini"), FromText("# a board\n"
                                                  "state=bootloader\n"
                                                  "answer = s=a, b #c;[d]\\r\\n\n"
                                                  "serial=lost\n"
                                                  "hardware=\" H \"\n"
                                                  "\n"
                                                  "answer=0x07=\n"
                                                  "line-end=lf\n"));
  Start({"--config", folder_.PathOf("board.ini")});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host,
                     FromText("s\x07"
                              "h0"),
                     18),
            ToHex(FromText("a, b #c;[d]\r\n H \nA")));
}

TEST_F(ProgramTest, FlagMayComeFromAFile) {
  WriteFile(folder_.PathOf("board.ini"), FromText("calibration-refused=true\n"));
  Start({"--config", folder_.PathOf("board.ini")});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("Ks"), 10), ToHex(FromText("SN000042\r\n")));
}

TEST_F(ProgramTest, OptionOfTheCommandLineReplacesThatOfTheFile) {
  WriteFile(folder_.PathOf("board.ini"),
            FromText("serial=S1\nhardware=H1\nanswer=7=1\nanswer=v=1\n"));
  Start({"--config", folder_.PathOf("board.ini"), "--serial", "S2", "--answer", "7=2"});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("sh7v"), 16), ToHex(FromText("S2\r\nH1\r\n2v1.04\r\n")));
}

TEST_F(ProgramTest, LineEndIsTheChosenOne) {
  const std::vector<std::pair<std::string, std::string>> ends{{"crlf", "55 0d 0a 41"},
                                                              {"lf", "55 0a 41"},
                                                              {"cr", "55 0d 41"},
                                                              {"nul", "55 00 41"},
                                                              {"none", "55 41"}};
  for (const auto& [name, answer] : ends) {
    Start({"--state", "bootloader", "--line-end", name});
    HostPort host = OpenDevice();
    EXPECT_EQ(AnswerTo(host, FromText("z0"), (answer.size() + 1) / 3), answer);
  }
}

TEST_F(ProgramTest, AnswerDelayAndPiecesTakeTheirTime) {
  Start({"--state", "bootloader", "--answer-delay", "120", "--pieces", "1:30"});
  HostPort host = OpenDevice();
  const TimePoint start = Clock::now();
  EXPECT_EQ(AnswerTo(host, FromText("z"), 3), "55 0d 0a");
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(180));
}

TEST_F(ProgramTest, LongTextArrivesWhole) {
  const std::string text(3000, 'x');
  Start({"--serial", text});
  HostPort host = OpenDevice();
  EXPECT_EQ(AnswerTo(host, FromText("s"), 3002), ToHex(FromText(text + "\r\n")));
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

TEST(ProgramFailureTest, SocketWhereNoneCanBeIsStatus1) {
  const TemporaryFolder folder;
  const ProgramOutcome outcome = RunProgram({"--socket", folder.PathOf("missing/board")});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.error, "kvo-board-simulator: cannot listen at " +
                               folder.PathOf("missing/board") + ": No such file or directory\n");
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
