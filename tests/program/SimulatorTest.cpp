// The simulated board's program: its options, messages and exit statuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <optional>
#include <thread>

#include "simulator/Line.h"
#include "support/Files.h"
#include "support/HostPort.h"
#include "support/Processes.h"

namespace kvo::boardsimulator {
namespace {

using bootloadertms::testing::ReadFile;
using bootloadertms::testing::RunningProgram;
using bootloadertms::testing::TemporaryFolder;
using std::chrono::milliseconds;
using testing::EndsWith;
using testing::HasSubstr;

namespace fs = std::filesystem;

using Arguments = std::vector<std::string>;

Arguments CommandOf(Arguments arguments) {
  arguments.insert(arguments.begin(), KVO_SIMULATOR);
  return arguments;
}

TEST(SimulatorArgumentsTest, HelpTellsOfEachFault) {
  RunningProgram program(CommandOf({"--help"}));
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_EQ(program.ErrorOutput(), "");
  for (const std::string word :
       {"ACTION@PLACE[/TIMES]", "start  ", "packet0  ", "block:N  ", "eot  ", "closing  ",
        "verdict  ", "nak  ", "c  ", "can  ", "byte=HH  ", "silence  ", "late=MS  ", "lost-ack  ",
        "double-ack  ", "hangup  ", "always", "--answer [application:|bootloader:]CODE=TEXT"}) {
    EXPECT_THAT(program.Output(), HasSubstr(word));
  }
}

TEST(SimulatorArgumentsTest, VersionIsPrinted) {
  RunningProgram program(CommandOf({"--version"}));
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_THAT(program.Output(), testing::MatchesRegex("kvo-board-simulator [0-9.]+\n"));
}

void ExpectUsageError(const Arguments& arguments, const std::string& complaint) {
  RunningProgram program(CommandOf(arguments));
  EXPECT_EQ(program.Wait(), 2) << complaint;
  EXPECT_EQ(program.Output(), "");
  EXPECT_THAT(program.ErrorOutput(), HasSubstr(complaint));
}

TEST(SimulatorArgumentsTest, MistakesEndWithStatus2AndAComplaint) {
  struct Row {
    Arguments arguments;
    std::string complaint;
  };
  const std::vector<Row> rows = {
      {{"--no-such"}, "--no-such"},
      {{"surplus"}, "surplus"},
      {{"--fault", "nak@eot", "nak@closing"}, "nak@closing"},
      {{"--board", "xx"}, "--board"},
      {{"--state", "off"}, "--state"},
      {{"--switch-time", "soon"}, "--switch-time: Value soon not in range 0 to 3600000"},
      {{"--silence-time", "0"}, "--silence-time: Value 0 not in range 1 to 3600000"},
      {{"--ping-silence", "1.5"}, "--ping-silence: Value 1.5 not in range 0 to 4294967295"},
      {{"--line-rate", "0"}, "--line-rate: Value 0 not in range 1 to 4294967295"},
      {{"--socket", "a", "--link", "b"}, "--link excludes --socket"},
      {{"--serial", "\\"}, "--serial: unknown escape '\\'"},
      {{"--answer", "s=ok", "--answer", "s"}, "--answer: answer 's': no '='"},
      {{"--unknown", ""}, "--unknown: no code given"},
      {{"--unknown", "\\q"}, "--unknown: unknown escape '\\q'"},
      {{"--ask-again", "can@s", "--ask-again", "can@s/0"}, "--ask-again: 'can@s/0': "},
      {{"--calibration-lines", "ever"},
       "--calibration-lines: if not 'endless', the count of lines must be a number from 0"},
      {{"--calibration-interval", "0"},
       "--calibration-interval: Value 0 not in range 1 to 3600000"},
      {{"--config", "./no-such.ini"}, "./no-such.ini was not readable"},
      {{"--line-end", "CRLF"}, "--line-end"},
      {{"--answer-delay", "3600001"}, "--answer-delay: Value 3600001 not in range 0 to 3600000"},
      {{"--pieces", "0"}, "--pieces: the size of a piece must be a number from 1"},
      {{"--pieces", "2:"}, "--pieces: the milliseconds between two pieces must be a number from 0"},
      {{"--pieces", "2:5:6"}, "--pieces: the milliseconds between two pieces must be a number"},
      {{"--fault", "nak@eot", "--fault", "nak@eot/0"}, "--fault: fault 'nak@eot/0': "}};
  for (const Row& row : rows) {
    ExpectUsageError(row.arguments, row.complaint);
  }
}

TEST(SimulatorArgumentsTest, MistakesInAFileEndWithStatus2AndAComplaint) {
  const TemporaryFolder folder;
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"no-such=1", "no-such"},
      {"config=other", "config"},
      {"switch-time=soon", "--switch-time: Value soon not in range 0 to 3600000"},
      {"serial=1\nserial=2", "--serial"},
      {"answer=s=1\nanswer=h", "--answer: answer 'h': no '='"},
      {"calibration-refused=maybe", "--calibration-refused"}};
  for (const auto& [text, complaint] : rows) {
    ExpectUsageError({"--config", folder.WriteFile("board.ini", text + "\n")}, complaint);
  }
}

TEST(SimulatorArgumentsTest, WhatCannotBeMadeIsStatus1) {
  const TemporaryFolder folder;
  const std::string file = folder.WriteFile("file", "precious");
  const std::string missing = folder.Path("missing/file");
  const std::vector<std::pair<Arguments, std::string>> rows = {
      {{"--trace", missing}, "cannot write the trace " + missing + ": No such file or directory\n"},
      {{"--socket", missing}, "cannot listen at " + missing + ": No such file or directory\n"},
      {{"--link", file},
       "cannot make the link " + file + ": something that is not a symbolic link stands there\n"}};
  for (const auto& [arguments, reason] : rows) {
    RunningProgram program(CommandOf(arguments));
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_EQ(program.Output(), "");
    EXPECT_EQ(program.ErrorOutput(), "kvo-board-simulator: " + reason);
  }
  EXPECT_EQ(ReadFile(file), "precious");
}

// The program at work; `device_` is what it printed first.
class SimulatorTest : public testing::Test {
 protected:
  void Start(Arguments arguments) {
    program_.emplace(CommandOf(std::move(arguments)));
    device_ = program_->FirstLine();
    ASSERT_NE(device_, "") << program_->ErrorOutput();
  }
  HostPort StartAndOpen(Arguments arguments) {
    Start(std::move(arguments));
    return HostPort::Open(device_);
  }
  void ExpectEnd(const std::string& error_output = "") {
    EXPECT_EQ(program_->Wait(), 0);
    EXPECT_EQ(program_->Output(), device_ + "\n");
    EXPECT_EQ(program_->ErrorOutput(), error_output);
  }
  void Stop(int signal = SIGTERM) {
    program_->Signal(signal);
    ExpectEnd();
  }
  static std::string HexAnswerTo(HostPort& host, const Bytes& bytes, std::size_t answer_size) {
    host.Send(bytes);
    return ToHex(host.Receive(answer_size));
  }
  static void ExpectAnswer(HostPort& host, const std::string& requests, const std::string& answer) {
    host.Send(FromText(requests));
    EXPECT_EQ(ToText(host.Receive(answer.size())), answer);
  }
  bool ComesIntoTrace(const std::string& text) {
    const auto has_come = [&] { return ReadFile(trace_).find(text) != std::string::npos; };
    return program_->WaitUntil(has_come, std::chrono::seconds(60));
  }
  // The answer to the closing packet of an upload of one block.
  static std::string Upload(HostPort& host) {
    EXPECT_EQ(HexAnswerTo(host, FromText("1"), 1), "43");
    EXPECT_EQ(HexAnswerTo(host, Packet(0, PacketZeroData("1000")), 2), "06 43");
    EXPECT_EQ(HexAnswerTo(host, Packet(1, Pattern(1024)), 1), "06");
    EXPECT_EQ(HexAnswerTo(host, FromHex("04"), 2), "06 43");
    return HexAnswerTo(host, ClosingPacket(), 2);
  }
  // The fault hangup@packet0 is in the plan.
  void ExpectHangUp(HostPort host) {
    EXPECT_EQ(HexAnswerTo(host, FromText("1"), 1), "43");
    host.Send(Packet(0, PacketZeroData("1000")));
    EXPECT_TRUE(host.Receive(1).empty());
    ExpectEnd("kvo-board-simulator: hung up, as a fault asked for\n");
    EXPECT_FALSE(fs::exists(fs::symlink_status(path_)));
    EXPECT_THAT(ReadFile(trace_), EndsWith(" # hung up\n"));
  }

  TemporaryFolder folder_;
  const std::string path_ = folder_.Path("board");
  const std::string trace_ = folder_.Path("trace");
  std::optional<RunningProgram> program_;
  std::string device_;
};

TEST_F(SimulatorTest, PrintsTheDeviceAndLinksToItUntilTheEnd) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    Start({"--link", path_});
    EXPECT_TRUE(fs::is_character_file(device_)) << device_;
    EXPECT_EQ(fs::read_symlink(path_), device_);
    Stop(signal);
    EXPECT_FALSE(fs::exists(fs::symlink_status(path_)));
  }
}

TEST_F(SimulatorTest, ServesOneHostAfterTheOtherOnATerminal) {
  Start({"--state", "bootloader"});
  for (int run = 0; run < 3; ++run) {
    HostPort host = HostPort::Open(device_);
    ExpectAnswer(host, "0", "A");
  }
  Stop();
}

TEST_F(SimulatorTest, ServesOneHostAfterTheOtherOnASocket) {
  Start({"--socket", path_, "--state", "bootloader"});
  EXPECT_EQ(device_, path_);
  for (int run = 0; run < 2; ++run) {
    HostPort host = HostPort::Connect(device_);
    ExpectAnswer(host, "0", "A");
  }
  Stop();
  EXPECT_FALSE(fs::exists(path_));
}

TEST_F(SimulatorTest, HangUpClosesTheLineAndEndsTheProgramWell) {
  const Arguments with_hang_up = {"--state",        "bootloader", "--fault",
                                  "hangup@packet0", "--trace",    trace_};
  for (const std::string option : {"--link", "--socket"}) {
    Arguments arguments = with_hang_up;
    arguments.insert(arguments.end(), {option, path_});
    Start(arguments);
    ExpectHangUp(option == "--socket" ? HostPort::Connect(device_) : HostPort::Open(device_));
  }
}

TEST_F(SimulatorTest, GoodImageIsInTheFlashFileBeforeTheVerdict) {
  HostPort host = StartAndOpen({"--state", "bootloader", "--flash", folder_.Path("flash")});
  EXPECT_EQ(Upload(host), "06 4f");
  EXPECT_EQ(ReadFile(folder_.Path("flash")), ToText(Pattern(1000)));
}

TEST_F(SimulatorTest, FlashFileThatCannotBeWrittenIsABadVerdictAndAComplaint) {
  const std::string flash = folder_.Path("missing/flash");
  HostPort host = StartAndOpen({"--state", "bootloader", "--flash", flash});
  EXPECT_EQ(Upload(host), "06 45");
  EXPECT_EQ(program_->ErrorOutput(),
            "cannot write the flash file " + flash + ": No such file or directory\n");
}

TEST_F(SimulatorTest, PacketZeroMustFitTheOptions) {
  HostPort other = StartAndOpen({"--state", "bootloader", "--board", "wk"});
  ExpectAnswer(other, "1", "C");
  EXPECT_EQ(HexAnswerTo(other, Packet(0, PacketZeroData("1000")), 1), "15");
  HostPort host = StartAndOpen({"--state", "bootloader", "--identification", "A|B|C|"});
  ExpectAnswer(host, "1", "C");
  const Bytes data = Padded(Padded(FromText("9"), 17, 0) + FromText("A|B|C|"), 128, 0);
  EXPECT_EQ(HexAnswerTo(host, Packet(0, data), 2), "06 43");
}

TEST_F(SimulatorTest, TraceIsCompleteAfterTheEnd) {
  HostPort host =
      StartAndOpen({"--state", "bootloader", "--trace", trace_, "--fault", "byte=46@start"});
  ExpectAnswer(host, "0", "A");
  ExpectAnswer(host, "1", "F");
  Stop();
  const std::string text = ReadFile(trace_);
  for (const std::string row :
       {" # bootloader runs\n", " > 30                                               |0|\n",
        " < 41                                               |A|\n", " # receiving an image\n",
        " # fault byte=46@start\n", " < 46                                               |F|\n"}) {
    EXPECT_THAT(text, HasSubstr(row));
  }
  EXPECT_THAT(text, EndsWith(" # reception ended: cancelled by the board, 0 bytes\n"));
}

TEST_F(SimulatorTest, OptionsChangeWhatIsAnsweredAndWhen) {
  struct Row {
    Arguments options;
    std::string requests;
    std::string answer;
    milliseconds time_at_least{0};
  };
  using namespace std::string_literals;
  const std::string text(3000, 'x');
  const std::vector<Row> rows = {
      {{}, "0", "ping_callback_function\r\n"},
      {{"--switch-time", "0"}, "Q0", "A"},
      {{"--state", "bootloader", "--ping-silence", "3"}, "0000z", "AU\r\n"},
      {{"--state",           "bootloader", "--serial",           "S1",
        "--hardware",        "H2",         "--product",          "P3",
        "--version-upper",   "V4",         "--version-lower",    "v5",
        "--boot-status",     "B6",         "--hardware-info",    "7\\x2d",
        "--bootloader-info", "8+",         "--application-info", "9 "},
       "shpVvb789",
       "S1\r\nH2\r\nP3\r\nV4\r\nv5\r\nB6\r\n7-\r\n8+\r\n9 \r\n"},
      {{"--serial", ""}, "s", "\r\n"},
      {{"--serial", text}, "s", text + "\r\n"},
      {{"--answer", "9=OK;\\r\\n", "--serial", "S1", "--answer", "application:s=[a,b]",
        "--answer=0x07=\\0", "--answer", "h="},
       "h9s\x07",
       "OK;\r\n[a,b]\0"s},
      {{"--state", "bootloader", "--unknown", "hs", "--unknown", "\\x70"},
       "hsp0",
       "U\r\nU\r\nU\r\nA"},
      {{"--ask-again", "Cannot@s/2", "--ask-again", "a\\x40b@s"},
       "ssss",
       "Cannot\r\nCannot\r\na@b\r\nSN000042\r\n"},
      {{"--calibration-refused"}, "Ks", "SN000042\r\n"},
      {{"--state", "bootloader", "--line-end", "crlf"}, "z0", "U\r\nA"},
      {{"--state", "bootloader", "--line-end", "lf"}, "z0", "U\nA"},
      {{"--state", "bootloader", "--line-end", "cr"}, "z0", "U\rA"},
      {{"--state", "bootloader", "--line-end", "nul"}, "z0", "U\0A"s},
      {{"--state", "bootloader", "--line-end", "none"}, "z0", "UA"},
      {{"--state", "bootloader", "--line-rate", "1000"}, "z", "U\r\n", milliseconds(40)},
      {{"--state", "bootloader", "--answer-delay", "120", "--pieces", "1:30"},
       "z",
       "U\r\n",
       milliseconds(180)},
      {{"--calibration-lines", "2", "--calibration-interval", "40"},
       "K",
       "KVO_CMD_CALIBRATE\r\ncalibration step 1\r\ncalibration step 2\r\n---\r\n",
       milliseconds(120)}};
  for (const Row& row : rows) {
    HostPort host = StartAndOpen(row.options);
    const TimePoint start = Clock::now();
    ExpectAnswer(host, row.requests, row.answer);
    EXPECT_GE(Clock::now() - start, row.time_at_least);
  }
}

TEST_F(SimulatorTest, OptionsMayComeFromAFile) {
  struct Row {
    std::string file;
    Arguments options;
    std::string requests;
    std::string answer;
  };
  const std::vector<Row> rows = {
      {"# a board\nstate=bootloader\nanswer = s=a, b #c;[d]\\r\\n\nserial=lost\n"
       "hardware=\" H \"\n\nanswer=0x07=\nline-end=lf\n",
       {},
       "s\ah0",
       "a, b #c;[d]\r\n H \nA"},
      {"calibration-refused=true\n", {}, "Ks", "SN000042\r\n"},
      {"serial=S1\nhardware=[H,1]\nanswer=7=1\nanswer=v=1\n",
       {"--serial", "S2", "--answer", "7=2"},
       "sh7v",
       "S2\r\n[H,1]\r\n2v1.04\r\n"}};
  for (const Row& row : rows) {
    Arguments options = row.options;
    options.insert(options.end(), {"--config", folder_.WriteFile("board.ini", row.file)});
    HostPort host = StartAndOpen(options);
    ExpectAnswer(host, row.requests, row.answer);
  }
}

TEST_F(SimulatorTest, EndlessCalibrationEndsWithItsHost) {
  {
    HostPort host = StartAndOpen({"--calibration-lines", "endless", "--calibration-interval", "1",
                                  "--line-rate", "10000000", "--trace", trace_});
    ExpectAnswer(host, "K", "KVO_CMD_CALIBRATE\r\ncalibration step 1\r\n");
    EXPECT_EQ(host.Receive(1000).size(), 1000U);
  }
  EXPECT_TRUE(ComesIntoTrace("calibration ended: the host has gone"));
  HostPort next_host = HostPort::Open(device_);
  next_host.Send(FromText("s"));
  std::string received;  // which may begin with what the former host left unread
  while (!received.ends_with("SN000042\r\n")) {
    const Bytes byte = next_host.Receive(1);
    ASSERT_FALSE(byte.empty()) << received;
    received += ToText(byte);
  }
}

TEST_F(SimulatorTest, HostThatLeavesDuringAnUploadDoesNotEndTheProgram) {
  {
    HostPort host = StartAndOpen({"--state", "bootloader", "--silence-time", "50"});
    ExpectAnswer(host, "1", "C");
    EXPECT_EQ(HexAnswerTo(host, Packet(0, PacketZeroData("1000")), 2), "06 43");
    host.Send(FromHex("02 01"));
  }
  HostPort host = HostPort::Open(device_);
  std::string answer;  // to pings, each of which would prolong the upload with a longer silence
  for (int ping = 0; ping < 100 && !answer.ends_with("A"); ++ping) {
    host.Send(FromText("0"));
    std::this_thread::sleep_for(milliseconds(100));
    answer = ToText(host.ReceiveWhatIsThere());
  }
  EXPECT_THAT(answer, EndsWith("A"));
  Stop();
}

TEST_F(SimulatorTest, StopEndsEvenASlowLineAndALateAnswer) {
  HostPort slow = StartAndOpen({"--state", "bootloader", "--line-rate", "1"});
  slow.Send(FromText("0"));
  Stop();
  HostPort late = StartAndOpen({"--state", "bootloader", "--fault", "late=3600000@start"});
  late.Send(FromText("1"));
  Stop();
}

}  // namespace
}  // namespace kvo::boardsimulator
