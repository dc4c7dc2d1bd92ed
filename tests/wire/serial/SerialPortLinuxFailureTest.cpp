#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include "support/CapturedStream.h"
#include "support/OpenDescriptors.h"
#include "support/RuntimeErrorOf.h"
#include "wire/serial/SerialPortFixture.h"

namespace kvo::bootloadertms {
namespace {

using testing::CapturedStream;
using testing::ExpectSystemError;
using testing::OpenDescriptorsOf;
using testing::RuntimeErrorOf;

// What a failure leaves behind.
class SerialPortLinuxFailureTest : public testing::SerialPortFixture {};

TEST_F(SerialPortLinuxFailureTest, CloseAfterAFailedSecondOpenLeavesAClosedPort) {
  Open();
  const int first = OpenDescriptorsOf(terminal_.Path()).front();
  port_.SetDevice("/dev/no-such-port");
  EXPECT_THROW(port_.Open(), std::runtime_error);
  EXPECT_EQ(port_.Close(), 0);
  EXPECT_NO_THROW(port_.SetTimeout(100));
  ::close(first);
}

TEST_F(SerialPortLinuxFailureTest, ReadUsesTheDescriptorWhoseConfigurationFailed) {
  SerialPortLinux port("/dev/null", 115200);
  const CapturedStream out(std::cout);
  EXPECT_THROW(port.Open(), std::system_error);
  std::string data = "former content";
  EXPECT_NO_THROW(port.Read(data));
  EXPECT_EQ(data, "");
}

TEST_F(SerialPortLinuxFailureTest, CloseGivesTheDescriptorBackWhoseConfigurationFailed) {
  SerialPortLinux port("/dev/full", 115200);
  const CapturedStream out(std::cout);
  EXPECT_THROW(port.Open(), std::system_error);
  EXPECT_EQ(port.Close(), 0);
  EXPECT_TRUE(OpenDescriptorsOf("/dev/full").empty());
}

TEST_F(SerialPortLinuxFailureTest, ASecondOpenWhoseConfigurationFailsStaysOpenOnTheNewDevice) {
  Open();
  const int first = OpenDescriptorsOf(terminal_.Path()).front();
  port_.SetDevice("/dev/zero");
  const CapturedStream out(std::cout);
  ExpectSystemError([this] { port_.Open(); });
  EXPECT_EQ(OpenDescriptorsOf("/dev/zero").size(), 1U);
  EXPECT_EQ(port_.Write("x"), 1);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetTimeout(0); }),
            "Can't set time out while serial port already opened! ");

  ASSERT_EQ(::write(first, "y", 1), 1);
  EXPECT_EQ(terminal_.Receive(1), "y") << "the x went to the new device";
  ::close(first);
}

TEST_F(SerialPortLinuxFailureTest, ANewDeviceIsStoredAndNamedThoughConfiguringFails) {
  Open();
  terminal_.HangUp();
  const CapturedStream out(std::cout);
  ExpectSystemError([this] { port_.SetDevice("/dev/other"); });
  EXPECT_EQ(port_.GetDevice(), "/dev/other");
  EXPECT_EQ(out.Text(),
            "Could not get terminal attributes for \"/dev/other\" - Input/output error\n");
}

TEST_F(SerialPortLinuxFailureTest, ANewRateIsStoredThoughConfiguringFails) {
  Open();
  terminal_.HangUp();
  const CapturedStream out(std::cout);
  ExpectSystemError([this] { port_.SetBaudRate(9600); });
  EXPECT_EQ(port_.GetBaudRate(), 9600U);
}

TEST_F(SerialPortLinuxFailureTest, TheOptionFlagOnAVanishedTerminalIsASystemError) {
  Open();
  terminal_.HangUp();
  const CapturedStream out(std::cout);
  ExpectSystemError([this] { port_.SetOptionFlag(true); });
}

TEST_F(SerialPortLinuxFailureTest, SetTermiosOnAClosedPortIsToldAndIsASystemError) {
  SerialPortLinux port("/dev/ttyX", 115200);
  const CapturedStream out(std::cout);
  ExpectSystemError([&port] { port.SetTermios(termios{}); });
  EXPECT_EQ(out.Text(),
            "Could not apply terminal attributes for \"/dev/ttyX\" - Bad file descriptor\n");
}

// Standard output that loses the cause of an earlier failure with each text, as a full disk may.
class CauseLosingBuffer : public std::stringbuf {
 private:
  std::streamsize xsputn(const char* text, std::streamsize length) override {
    errno = ENOSPC;
    return std::stringbuf::xsputn(text, length);
  }
};

TEST_F(SerialPortLinuxFailureTest, TheCauseToldIsThatOfTheFailureNotOfPrinting) {
  SerialPortLinux port("/dev/ttyX", 115200);
  CauseLosingBuffer buffer;
  std::streambuf* const former = std::cout.rdbuf(&buffer);
  EXPECT_THROW(port.SetTermios(termios{}), std::system_error);
  std::cout.rdbuf(former);
  EXPECT_EQ(buffer.str(),
            "Could not apply terminal attributes for \"/dev/ttyX\" - Bad file descriptor\n");
}

}  // namespace
}  // namespace kvo::bootloadertms
