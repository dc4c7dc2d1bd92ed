// Each call of the system that the real program makes on its line, its image and its pipes fails,
// one at a time, by the fault injection of strace.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "program/Programs.h"
#include "program/UploadTexts.h"

namespace kvo::bootloadertms::testing {
namespace {

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

class UnderStrace : public ::testing::Test {
 protected:
  // Runs the utility where the `count`th call of this name that concerns `path` meets `fault`,
  // in the words of strace: "error=EIO", "retval=0".
  Result Run(const std::vector<std::string>& arguments, const std::string& path,
             const std::string& call, const std::string& fault, int count) {
    std::vector<std::string> command = {
        "strace",   "-qq",
        "-P",       path,
        "-o",       folder_.Path("calls"),
        "-e",       "inject=" + call + ":" + fault + ":when=" + std::to_string(count),
        KVO_UTILITY};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::map<std::string, std::string> environment = tools_.Environment();
    environment["ASAN_OPTIONS"] = "detect_leaks=0";  // which needs ptrace for itself
    RunningProgram utility(command, environment);
    utility.Prefer();
    const int exit_status = utility.Wait();
    error_output_ = utility.ErrorOutput();
    return {exit_status, utility.Output()};
  }

  const TemporaryFolder folder_;
  StandInTools tools_;
  std::string error_output_;
};

struct CommandRow {
  const char* name;
  const char* state;  // of the board at the start
  std::vector<std::string> arguments;
  std::string output;
  int writes;                 // each one that fails ends the run
  std::vector<Result> reads;  // the results when each one fails
  bool more_reads = false;    // how many more there are depends on the time
};

void PrintTo(const CommandRow& row, std::ostream* out) { *out << row.name; }

class CommandUnderStrace : public UnderStrace, public ::testing::WithParamInterface<CommandRow> {
 protected:
  Result Run(const std::string& call, const std::string& fault, int count) {
    SimulatedBoard board({"--state",
                          GetParam().state,
                          "--hardware-info",
                          "HW",
                          "--bootloader-info",
                          "BL",
                          "--application-info",
                          "APP",
                          "--serial",
                          "S",
                          "--hardware",
                          "H",
                          "--product",
                          "P",
                          "--version-upper",
                          "V",
                          "--version-lower",
                          "v",
                          "--boot-status",
                          "SAFE",
                          "--calibration-lines",
                          "0",
                          "--calibration-interval",
                          "3000"});
    std::vector<std::string> arguments = GetParam().arguments;
    arguments.insert(arguments.begin(), {board.Path(), "115200"});
    return UnderStrace::Run(arguments, board.Path(), call, fault, count);
  }
};

TEST_P(CommandUnderStrace, AWriteThatFailsIsASystemError) {
  for (int count = 1; count <= GetParam().writes; ++count) {
    const Result result = Run("write", "error=EIO", count);
    EXPECT_EQ(result.exit_status, 1) << "write " << count;
    EXPECT_TRUE(result.output.ends_with(kBadAddress)) << "write " << count << result.output;
  }
  EXPECT_EQ(Run("write", "error=EIO", GetParam().writes + 1), (Result{0, GetParam().output}))
      << "one write more than there is";
}

TEST_P(CommandUnderStrace, AReadThatFailsHasItsOwnResult) {
  int count = 0;
  for (const Result& result : GetParam().reads) {
    EXPECT_EQ(Run("read", "error=EIO", ++count), result) << "read " << count;
  }
  if (!GetParam().more_reads) {
    EXPECT_EQ(Run("read", "error=EIO", 100), (Result{0, GetParam().output}));
  }
}

std::string NameOf(const ::testing::TestParamInfo<CommandRow>& row) { return row.param.name; }

const Result kReadFailed = {1, kBadAddress};
const std::string kCalibrating = "\nKVO_CMD_CALIBRATE\r\n\0\n"s;

INSTANTIATE_TEST_SUITE_P(
    SystemCallFaultTest, CommandUnderStrace,
    ::testing::Values(
        // A byte that can't be read is a wrong answer, and the next ping is answered.
        CommandRow{"PingBootloader", "bootloader", {"--command", "0x30"}, "", 1, {{0, ""}}},
        CommandRow{"ExecuteApplication", "bootloader", {"--command", "0x36"}, "", 2, {kReadFailed}},
        CommandRow{
            "HardwareInfo", "bootloader", {"--command", "0x37"}, "HW\r\n\0\n"s, 1, {kReadFailed}},
        CommandRow{
            "BootloaderInfo", "bootloader", {"--command", "0x38"}, "BL\r\n\0\n"s, 1, {kReadFailed}},
        CommandRow{"ApplicationInfo",
                   "bootloader",
                   {"--command", "0x39"},
                   "APP\r\n\0\n"s,
                   1,
                   {kReadFailed}},
        CommandRow{"Calibration",
                   "application",
                   {"--command", "0x4B"},
                   kCalibrating,
                   1,
                   {kReadFailed, {1, kCalibrating + kBadAddress}},
                   true},
        CommandRow{"ActivateBootloader", "application", {"--command", "0x51"}, "", 4, {{0, ""}}},
        CommandRow{"PingApplication", "application", {"--command", "0x52"}, "", 1, {kReadFailed}},
        CommandRow{
            "SafeBootStatus", "application", {"--command", "0x62"}, "SAFE\n", 1, {kReadFailed}},
        CommandRow{"BootloaderDeviceInfo",
                   "bootloader",
                   {"--command", "0x100"},
                   "S\nH\nP\nv\n",
                   5,
                   {kReadFailed, kReadFailed, kReadFailed, kReadFailed, kReadFailed}},
        CommandRow{"RestoreDefaultParameters", "application", {"--command", "0x110"}, "", 6, {}},
        CommandRow{"ApplicationDeviceInfo",
                   "application",
                   {"--command", "0x200"},
                   "S\nH\nP\nv\n",
                   6,
                   {kReadFailed, kReadFailed, kReadFailed, kReadFailed, kReadFailed, kReadFailed}},
        CommandRow{"Send", "bootloader", {"--send", "73"}, "S\n", 1, {kReadFailed}},
        CommandRow{"ApplicationInfoMode",
                   "bootloader",
                   {"--application_info", "--x"},
                   "APP\r\n\0\n"s,
                   3,
                   {kReadFailed, {1, "APP\r\n\0\n"s + kBadAddress}}}),
    NameOf);

class SystemCallFaultTest : public UnderStrace {
 protected:
  Result RunPing(const std::string& call, const std::string& fault, int count) {
    return Run({board_.Path(), "115200", "--command", "0x30"}, board_.Path(), call, fault, count);
  }
  Result RunUpload(const std::string& path, const std::string& call, const std::string& fault,
                   int count) {
    return Run({board_.Path(), "115200", image_, "--x"}, path, call, fault, count);
  }

  SimulatedBoard board_{{"--state", "bootloader"}};
  const std::string image_ = folder_.WriteFile("fw_tv.bin", "");
  const std::string uploaded_ = kReceiverAsked + PacketZeroForTv("0................") +
                                kPacketZeroSent + kPacketZeroAccepted + kTransferComplete;
};

TEST_F(SystemCallFaultTest, EachErrorOfAWriteIsTheSameSystemError) {
  for (const char* error : {"EINTR", "EAGAIN", "EBADF", "ENXIO", "EIO", "ENOSPC"}) {
    EXPECT_EQ(RunPing("write", "error="s + error, 1), (Result{1, kBadAddress})) << error;
  }
}

TEST_F(SystemCallFaultTest, EachErrorOfAByteReadIsAWrongAnswer) {
  for (const char* error : {"EINTR", "EAGAIN", "EBADF", "ENXIO", "EIO"}) {
    EXPECT_EQ(RunPing("read", "error="s + error, 1), (Result{0, ""})) << error;
  }
}

TEST_F(SystemCallFaultTest, AByteThatIsNotWrittenThoughNothingFailedGetsNoAnswer) {
  EXPECT_EQ(RunPing("write", "retval=0", 1), (Result{0, ""})) << "the second ping is answered";
}

TEST_F(SystemCallFaultTest, AnEndOfFileIsATimeOut) {
  EXPECT_EQ(RunPing("read", "retval=0", 1), (Result{0, ""})) << "the second ping is answered";
  EXPECT_EQ(
      Run({board_.Path(), "115200", "--command", "0x37"}, board_.Path(), "read", "retval=0", 1),
      (Result{1, Failure("Invalid response (bootloader is probably not activated or command is not "
                         "implemented). Exiting")}));
}

TEST_F(SystemCallFaultTest, ADeviceThatDoesNotOpenIsNamed) {
  for (const char* error : {"EACCES", "EBUSY", "ENXIO", "EINTR", "EMFILE"}) {
    EXPECT_EQ(RunPing("openat", "error="s + error, 1),
              (Result{1, Failure("Could not open device " + board_.Path() +
                                 ". Is the device name correct and do you have read/write "
                                 "permission or is the device busy?")}))
        << error;
  }
}

TEST_F(SystemCallFaultTest, SettingsThatCannotBeReadOrAppliedAreTold) {
  EXPECT_EQ(RunPing("ioctl", "error=EIO", 1),
            (Result{1, "Could not get terminal attributes for \"" + board_.Path() +
                           "\" - Input/output error\n" + kBadAddress}));
  EXPECT_EQ(RunPing("ioctl", "error=EBADF", 4),
            (Result{1, "Could not apply terminal attributes for \"" + board_.Path() +
                           "\" - Bad file descriptor\n" + kBadAddress}));
}

TEST_F(SystemCallFaultTest, AFlushThatFailsChangesNothing) {
  for (const int flush : {2, 6}) {
    EXPECT_EQ(RunPing("ioctl", "error=EIO", flush), (Result{0, ""})) << flush;
  }
}

TEST_F(SystemCallFaultTest, ACloseThatFailsOnTheWayOutOfAFailureEndsTheProcessAbnormally) {
  EXPECT_EQ(
      Run({board_.Path(), "115200", "--command", "zz"}, board_.Path(), "close", "error=EIO", 1)
          .exit_status,
      128 + SIGABRT);
}

TEST_F(SystemCallFaultTest, EachWriteOfAnUploadThatFailsIsASystemErrorAndTheBoardHasNoImage) {
  // The request, packet 0, the end of the file, the closing packet.
  constexpr int kWrites = 1 + 133 + 1 + 133;
  for (int count = 1; count <= kWrites; ++count) {
    SimulatedBoard board({"--state", "bootloader"});  // the former one still receives
    const Result result =
        Run({board.Path(), "115200", image_, "--x"}, board.Path(), "write", "error=EIO", count);
    ASSERT_EQ(result.exit_status, 1) << count;
    ASSERT_TRUE(result.output.ends_with(kBadAddress)) << count << result.output;
    ASSERT_FALSE(board.HasFlash()) << count;
  }
  EXPECT_EQ(RunUpload(board_.Path(), "write", "error=EIO", kWrites + 1), (Result{0, uploaded_}));
  EXPECT_TRUE(board_.HasFlash());
}

TEST_F(SystemCallFaultTest, AReadOfAnUploadThatFailsIsAWrongAnswer) {
  const std::string up_to_packet_zero =
      kReceiverAsked + PacketZeroForTv("0................") + kPacketZeroSent;
  const std::map<int, Result> results = {
      {1, {0, uploaded_}},  // the request for packet 0; the board asks again
      {2, {1, up_to_packet_zero + kGivenUp + kTransmitFailed}},
      {4, {1, up_to_packet_zero + kPacketZeroAccepted + kTransmitFailed}},  // of the end of file
      {5, {1, uploaded_ + kVerdictFailed}},  // the request for the closing packet
      {7, {1, uploaded_ + kVerdictFailed}},
      {8, {0, uploaded_}}};  // there is none
  for (const auto& [count, result] : results) {
    SimulatedBoard board({"--state", "bootloader"});
    EXPECT_EQ(
        Run({board.Path(), "115200", image_, "--x"}, board.Path(), "read", "error=EIO", count),
        result)
        << "read " << count;
  }
}

TEST_F(SystemCallFaultTest, AnImageThatCannotBeOpenedOrReadIsNamed) {
  folder_.WriteFile("fw_tv.bin", "image");
  EXPECT_EQ(RunUpload(image_, "openat", "error=EACCES", 1),
            (Result{1, Failure("Unable to open file : " + image_)}));
  EXPECT_EQ(RunUpload(image_, "openat", "error=EMFILE", 1),
            (Result{1, Failure("Unable to open file : " + image_)}));
  EXPECT_EQ(RunUpload(image_, "read", "error=EIO", 1),
            (Result{1, Failure("Unable to read file : " + image_)}));
}

TEST_F(SystemCallFaultTest, APipeThatCannotBeMadeIsTold) {
  std::vector<std::string> command = {"strace",    "-qq",
                                      "-o",        folder_.Path("calls"),
                                      "-e",        "inject=pipe2:error=EMFILE:when=1",
                                      KVO_UTILITY, board_.Path(),
                                      "115200",    "--command",
                                      "0x30"};
  RunningProgram utility(command, tools_.Environment());
  EXPECT_EQ(utility.Wait(), 1);
  EXPECT_EQ(utility.Output(), Failure("popen() failed!"));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
