// What bad arguments, files, devices and speeds get from the real program.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "program/Programs.h"
#include "support/TestTerminal.h"
#include "tables/UploadTexts.h"
#include "tables/Usage.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;

class CommandLineTest : public ::testing::Test {
 protected:
  // That the run failed with this text and that nothing went out on the line.
  void ExpectFailure(const std::vector<std::string>& after_the_device, const std::string& message) {
    std::vector<std::string> arguments = after_the_device;
    arguments.insert(arguments.begin(), terminal_.Path());
    const Outcome outcome = RunUtility(arguments);
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(outcome.output, Failure(message));
    EXPECT_EQ(outcome.error_output, "");
    EXPECT_EQ(terminal_.Receive(1, 1ms), "") << "something was sent to the board";
  }

  const TestTerminal terminal_;
  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", "image");
};

TEST_F(CommandLineTest, TooFewArgumentsGetTheUsageTextAndStatus1) {
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {}, {"--help"}, {terminal_.Path(), "1000000", image_}}) {
    const Outcome outcome = RunUtility(arguments);
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error_output, kUsage);
  }
}

TEST_F(CommandLineTest, ANameWithoutABoardIsRefusedBeforeAnythingIsSent) {
  for (const char* name : {"image_d.bin", "tv_image.bin", "fw_.bin", "fw_", "d"}) {
    ExpectFailure({"1000000", folder_.WriteFile(name, "image"), "--x"},
                  "No definition associate with file name. ie : image_d.bin for QDL-R2 board");
  }
}

TEST_F(CommandLineTest, AMissingFileIsRefusedBeforeAnythingIsSent) {
  ExpectFailure({"1000000", "./no-such_tv.bin", "--x"}, "Unable to open file : ./no-such_tv.bin");
}

TEST_F(CommandLineTest, ADirectoryIsRefusedBeforeAnythingIsSent) {
  const std::string path = folder_.Path("dir_tv");
  std::filesystem::create_directory(path);
  ExpectFailure({"1000000", path, "--x"}, "Unable to read file : " + path);
}

TEST_F(CommandLineTest, AFileOf4GiBIsRefusedBeforeAnythingIsSent) {
  const std::string path = folder_.WriteFile("big_tv.bin", "");
  std::filesystem::resize_file(path, 0x100000000);
  ExpectFailure({"1000000", path, "--x"}, "Unable to read file : " + path);
}

TEST_F(CommandLineTest, ASwitchInTheThirdPlaceIsTakenAsTheImage) {
  const Outcome outcome = RunUtility({terminal_.Path(), "1000000", "--verbose", "--x"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output, kEntering + Failure("Unable to open file : --verbose"));
}

TEST_F(CommandLineTest, AnUnsupportedSpeedIsRefusedByItsNumber) {
  ExpectFailure({"4800", image_, "--x"}, "Baud rate not supported : 4800");
  ExpectFailure({"fast", image_, "--x"}, "Baud rate not supported : 0");
  ExpectFailure({"-1", image_, "--x"}, "Baud rate not supported : 4294967295");
}

TEST_F(CommandLineTest, ASpeedEndsAtTheFirstCharacterThatIsNoDigit) {
  ExpectFailure({" 1000000x", "./no-such_tv.bin", "--x"}, "Unable to open file : ./no-such_tv.bin");
}

TEST_F(CommandLineTest, AMissingDeviceIsNamed) {
  const Outcome outcome = RunUtility({"/dev/no-such-port", "1000000", image_, "--verbose"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output,
            kEntering + Failure("Could not open device /dev/no-such-port. Is the device name "
                                "correct and do you have read/write permission or is the device "
                                "busy?"));
}

TEST_F(CommandLineTest, ADeviceThatIsNoTerminalIsTold) {
  const Outcome outcome = RunUtility({"/dev/null", "1000000", image_, "--x"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output,
            "Could not get terminal attributes for \"/dev/null\" - Inappropriate ioctl for "
            "device\n" +
                Failure("Bad address"));
}

TEST_F(CommandLineTest, AnEmptyDeviceIsAnError) {
  const Outcome outcome = RunUtility({"", "1000000", image_, "--x"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output,
            Failure("Attempt to open serial port but serial port definition is empty!"));
}

TEST_F(CommandLineTest, AnInvalidCommandIsToldOnceThePortIsOpen) {
  ExpectFailure({"1000000", "--command", "zz"}, "Invalid command : zz");
  ExpectFailure({"1000000", "x", "--command"}, "No command specified. Exiting");
  ExpectFailure({"1000000", "--send", "zz"}, "Invalid command to send : zz");
  ExpectFailure({"1000000", "x", "--send"}, "No command specified to send. Exiting");
}

TEST_F(CommandLineTest, ABadDeviceComesBeforeAnInvalidCommand) {
  const Outcome outcome = RunUtility({"/dev/no-such-port", "4800", "--command", "zz"});
  EXPECT_EQ(outcome.output, Failure("Baud rate not supported : 4800"));
  EXPECT_EQ(RunUtility({"/dev/no-such-port", "1000000", "--command", "zz"}).output,
            Failure("Could not open device /dev/no-such-port. Is the device name correct and do "
                    "you have read/write permission or is the device busy?"));
}

TEST_F(CommandLineTest, ThePortIsCheckedBeforeAnUnsupportedSpeedIsRefused) {
  const StandInTools tools;
  RunUtility({terminal_.Path(), "4800", image_, "--x"}, tools);
  EXPECT_EQ(tools.Calls(), "lsof " + terminal_.Path() + "\nps -aux\n");
}

#ifndef __SANITIZE_ADDRESS__
TEST_F(CommandLineTest, AnotherExceptionEndsTheProcessAbnormally) {
  const std::string path = folder_.WriteFile("big_tv.bin", "");
  std::filesystem::resize_file(path, 0x40000000);
  RunningProgram utility({"sh", "-c", "ulimit -c 0; ulimit -v 500000; exec \"$@\"", "sh",
                          KVO_UTILITY, terminal_.Path(), "1000000", path, "--verbose"},
                         StandInTools().Environment());
  EXPECT_EQ(utility.Wait(), 128 + SIGABRT);
  EXPECT_EQ(utility.Output(), kEntering);
}
#endif

}  // namespace
}  // namespace kvo::bootloadertms::testing
