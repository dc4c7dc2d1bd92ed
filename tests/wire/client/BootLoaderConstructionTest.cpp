#include <gtest/gtest.h>

#include <iostream>

#include "client/BootLoader.h"
#include "log/LogMess.h"
#include "support/Files.h"
#include "support/Output.h"
#include "support/Processes.h"
#include "support/RuntimeErrorOf.h"
#include "support/TestTerminal.h"

namespace kvo::bootloadertms {
namespace {

using testing::CapturedStream;
using testing::OpenDescriptorsOf;
using testing::PathOfThisProcess;
using testing::RuntimeErrorOf;
using testing::StandInTools;
using testing::TestTerminal;

class BootLoaderConstructionTest : public ::testing::Test {
 protected:
  ~BootLoaderConstructionTest() override { LogMess::GetInstance().SetVerbose(false); }

  static std::string ErrorOfConstruction(const std::string& device, std::uint32_t baud_rate) {
    return RuntimeErrorOf([&] { const BootLoader client(device, baud_rate); });
  }

  static std::string WarningOf(const std::string& device) {
    return "Error: " + device +
           " port is already opened or a minicom instance is running.\n"
           "Please close all minicom instances and/or programs using the port before trying to "
           "flash.\n";
  }

  StandInTools tools_;
  PathOfThisProcess path_{tools_.Environment().at("PATH")};
  TestTerminal terminal_;
  CapturedStream out_{std::cout};
  CapturedStream err_{std::cerr};
};

TEST_F(BootLoaderConstructionTest, OpensThePortWithA100MsTimeout) {
  const BootLoader client(terminal_.Path(), 1000000);
  EXPECT_EQ(OpenDescriptorsOf(terminal_.Path()).size(), 1U);
  const termios settings = terminal_.Settings();
  EXPECT_EQ(settings.c_cc[VMIN], 0);
  EXPECT_EQ(settings.c_cc[VTIME], 1);
  EXPECT_EQ(::cfgetospeed(&settings), static_cast<speed_t>(B1000000));
  EXPECT_EQ(out_.Text() + err_.Text(), "");
}

TEST_F(BootLoaderConstructionTest, DestructionClosesThePort) {
  { const BootLoader client(terminal_.Path(), 115200); }
  EXPECT_EQ(OpenDescriptorsOf(terminal_.Path()).size(), 0U);
}

TEST_F(BootLoaderConstructionTest, VerboseTellsDeviceAndRate) {
  LogMess::GetInstance().SetVerbose(true);
  const BootLoader client(terminal_.Path(), 115200);
  EXPECT_EQ(out_.TextWithFlushes(),
            "bootLoader created : " + terminal_.Path() + " 115200\n<flush>");
}

TEST_F(BootLoaderConstructionTest, VerboseTellsNothingOfAPortThatDoesNotOpen) {
  LogMess::GetInstance().SetVerbose(true);
  EXPECT_NE(ErrorOfConstruction("/dev/no-such-port", 115200), "no error");
  EXPECT_EQ(out_.Text(), "");
}

TEST_F(BootLoaderConstructionTest, ABusyPortIsAWarningAndThePortIsOpenedAllTheSame) {
  tools_.LsofPrints("COMMAND\n");
  const BootLoader client(terminal_.Path(), 115200);
  EXPECT_EQ(err_.Text(), WarningOf(terminal_.Path()));
  EXPECT_EQ(out_.Text(), "");
  EXPECT_EQ(OpenDescriptorsOf(terminal_.Path()).size(), 1U);
}

TEST_F(BootLoaderConstructionTest, TheWarningComesBeforeThePortIsTouched) {
  tools_.LsofPrints("COMMAND\n");
  EXPECT_EQ(ErrorOfConstruction("/dev/no-such-port", 4800), "Baud rate not supported : 4800");
  EXPECT_EQ(err_.Text(), WarningOf("/dev/no-such-port"));
}

TEST_F(BootLoaderConstructionTest, ThePortsErrorsLeaveTheConstructor) {
  EXPECT_EQ(ErrorOfConstruction(terminal_.Path(), 4800), "Baud rate not supported : 4800");
  EXPECT_EQ(ErrorOfConstruction("", 115200),
            "Attempt to open serial port but serial port definition is empty!");
  EXPECT_EQ(ErrorOfConstruction("/dev/no-such-port", 115200),
            "Could not open device /dev/no-such-port. Is the device name correct and do you have "
            "read/write permission or is the device busy?");
  EXPECT_EQ(ErrorOfConstruction("/dev/full", 115200), "Bad address");
  EXPECT_EQ(OpenDescriptorsOf("/dev/full").size(), 0U);
}

TEST_F(BootLoaderConstructionTest, TheStaticOperationsAreThoseOfThePortCheck) {
  EXPECT_EQ(BootLoader::RunCommand("echo shown"), "shown\n");
  EXPECT_FALSE(BootLoader::IsPortInUse("/dev/ttyX"));
  tools_.LsofPrints("COMMAND\n");
  EXPECT_TRUE(BootLoader::IsPortInUse("/dev/ttyX"));
}

}  // namespace
}  // namespace kvo::bootloadertms
