// How a port is made, configured, opened and closed.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "support/Files.h"
#include "support/Output.h"
#include "support/RuntimeErrorOf.h"
#include "support/TestTerminal.h"
#include "wire/serial/SerialPortFixture.h"

namespace kvo::bootloadertms {
namespace {

using testing::CapturedStream;
using testing::ExpectSystemError;
using testing::OpenDescriptorsOf;
using testing::RuntimeErrorOf;
using testing::TestTerminal;

constexpr const char* kAlreadyOpen = "Can't set time out while serial port already opened! ";

class SerialPortLinuxTest : public testing::SerialPortFixture {
 protected:
  // Changes the open line, so that it shows when the port configures it anew.
  void MakeTheLineEcho() const {
    termios settings = terminal_.Settings();
    settings.c_lflag |= ECHO;
    terminal_.SetSettings(settings);
  }
  bool LineEchoes() const { return (terminal_.Settings().c_lflag & ECHO) != 0; }
};

TEST_F(SerialPortLinuxTest, ConstructionKeepsDeviceAndRateAndOpensNothing) {
  EXPECT_EQ(port_.GetDevice(), terminal_.Path());
  EXPECT_EQ(port_.GetBaudRate(), 115200U);
  EXPECT_TRUE(OpenDescriptorsOf(terminal_.Path()).empty());
}

TEST_F(SerialPortLinuxTest, AnUnsupportedRateIsRefusedByItsNumber) {
  for (const char* rate : {"4800", "0", "4294967295"}) {
    EXPECT_EQ(RuntimeErrorOf([&] {
                SerialPortLinux("/dev/none", static_cast<std::uint32_t>(std::stoul(rate)));
              }),
              std::string("Baud rate not supported : ") + rate);
  }
}

// The line's settings.

TEST_F(SerialPortLinuxTest, OpenMakesTheLineRawAndLeavesOtherFlagsAsFound) {
  termios preset = terminal_.Settings();
  preset.c_iflag = IXOFF | IXANY | INPCK | IGNPAR | IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR |
                   IGNCR | ICRNL | IXON | IUTF8;
  preset.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | ECHONL | IEXTEN | NOFLSH | TOSTOP;
  preset.c_oflag = OPOST | ONLCR | OCRNL;
  preset.c_cflag |= HUPCL | CSTOPB;
  preset.c_cflag &= ~static_cast<tcflag_t>(CLOCAL);
  std::fill(std::begin(preset.c_cc), std::end(preset.c_cc), cc_t{77});
  terminal_.SetSettings(preset);
  Open();
  const termios settings = terminal_.Settings();
  EXPECT_EQ(settings.c_iflag, static_cast<tcflag_t>(IXOFF | IXANY | INPCK | IGNPAR | IUTF8));
  EXPECT_EQ(settings.c_lflag, static_cast<tcflag_t>(ECHOE | ECHOK | NOFLSH | TOSTOP));
  EXPECT_EQ(settings.c_oflag, static_cast<tcflag_t>(ONLCR | OCRNL));
  constexpr tcflag_t kSpeeds = CBAUD | CIBAUD;
  EXPECT_EQ(settings.c_cflag & ~kSpeeds, static_cast<tcflag_t>(HUPCL | CS8 | CREAD | CLOCAL));
  EXPECT_EQ(settings.c_cc[VINTR], 77);
  EXPECT_EQ(settings.c_cc[VEOF], 77);
  EXPECT_EQ(settings.c_cc[VSTOP], 77);
}

TEST_F(SerialPortLinuxTest, EachRateIsPutInForceForBothDirections) {
  const std::vector<std::pair<std::uint32_t, speed_t>> rates = {
      {9600, 0x0D},    {19200, 0x0E},    {38400, 0x0F},
      {57600, 0x1001}, {115200, 0x1002}, {1000000, 0x1008}};
  for (const auto& [rate, speed] : rates) {
    SerialPortLinux port(terminal_.Path(), rate);
    port.Open();
    const termios settings = terminal_.Settings();
    EXPECT_EQ(::cfgetispeed(&settings), speed) << rate;
    EXPECT_EQ(::cfgetospeed(&settings), speed) << rate;
  }
}

TEST_F(SerialPortLinuxTest, TimeoutsArePutInForce) {
  const std::vector<std::pair<std::int32_t, std::pair<int, int>>> rows = {
      {-1, {1, 0}},  {0, {0, 0}},   {1, {0, 0}},   {99, {0, 0}},      {100, {0, 1}},
      {199, {0, 1}}, {200, {0, 2}}, {250, {0, 2}}, {25499, {0, 254}}, {25500, {0, 255}}};
  for (const auto& [timeout_ms, timing] : rows) {
    Open(timeout_ms);
    const termios settings = terminal_.Settings();
    EXPECT_EQ(settings.c_cc[VMIN], timing.first) << timeout_ms;
    EXPECT_EQ(settings.c_cc[VTIME], timing.second) << timeout_ms;
    port_.Close();
  }
}

TEST_F(SerialPortLinuxTest, WithoutSetTimeoutAReadWaitsForAByte) {
  port_.Open();
  EXPECT_EQ(terminal_.Settings().c_cc[VMIN], 1);
  EXPECT_EQ(terminal_.Settings().c_cc[VTIME], 0);
}

TEST_F(SerialPortLinuxTest, ATimeoutOutOfRangeIsRefusedAndLeavesTheFormerOne) {
  port_.SetTimeout(300);
  for (const std::int32_t timeout_ms : {-2, 25501, std::numeric_limits<std::int32_t>::min()}) {
    EXPECT_EQ(RuntimeErrorOf([&] { port_.SetTimeout(timeout_ms); }), "time out ms is invalid");
  }
  port_.Open();
  EXPECT_EQ(terminal_.Settings().c_cc[VTIME], 3);
}

TEST_F(SerialPortLinuxTest, AnOpenPortRefusesEveryTimeout) {
  Open();
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetTimeout(100); }), kAlreadyOpen);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetTimeout(-2); }), kAlreadyOpen);
}

TEST_F(SerialPortLinuxTest, OnAClosedPortTheSettersOnlyStore) {
  EXPECT_EQ(port_.SetDevice("/dev/other"), 0U);
  EXPECT_EQ(port_.GetDevice(), "/dev/other");
  EXPECT_EQ(port_.SetBaudRate(9600), 0U);
  EXPECT_EQ(port_.GetBaudRate(), 9600U);
}

TEST_F(SerialPortLinuxTest, ANewRateIsPutInForceAtOnce) {
  Open();
  EXPECT_EQ(port_.SetBaudRate(9600), 0U);
  const termios settings = terminal_.Settings();
  EXPECT_EQ(::cfgetospeed(&settings), static_cast<speed_t>(B9600));
}

TEST_F(SerialPortLinuxTest, TheSameOrAnUnsupportedRateAppliesTheSettingsAgain) {
  Open();
  for (const std::uint32_t rate : {115200U, 4800U}) {
    MakeTheLineEcho();
    EXPECT_EQ(port_.SetBaudRate(rate), 0U);
    EXPECT_EQ(port_.GetBaudRate(), 115200U);
    EXPECT_FALSE(LineEchoes()) << rate;
    const termios settings = terminal_.Settings();
    EXPECT_EQ(::cfgetospeed(&settings), static_cast<speed_t>(B115200));
  }
}

TEST_F(SerialPortLinuxTest, ANewDeviceTakesEffectAtTheNextOpen) {
  const TestTerminal other;
  Open();
  MakeTheLineEcho();
  EXPECT_EQ(port_.SetDevice(other.Path()), 0U);
  EXPECT_EQ(port_.GetDevice(), other.Path());
  EXPECT_FALSE(LineEchoes()) << "the open device is configured anew";
  port_.WriteByte('1');
  EXPECT_EQ(terminal_.Receive(1), "1");

  port_.Close();
  port_.Open();
  port_.WriteByte('2');
  EXPECT_EQ(other.Receive(1), "2");
}

TEST_F(SerialPortLinuxTest, TheOptionFlagConfiguresTheLineAndChangesNothingElse) {
  Open(100);
  const termios before = terminal_.Settings();
  MakeTheLineEcho();
  EXPECT_EQ(port_.SetOptionFlag(true), 0);
  const termios settings = terminal_.Settings();
  EXPECT_EQ(settings.c_lflag, before.c_lflag);
  EXPECT_EQ(settings.c_cflag, before.c_cflag);
  EXPECT_EQ(settings.c_iflag, before.c_iflag);
  EXPECT_EQ(settings.c_oflag, before.c_oflag);
}

TEST_F(SerialPortLinuxTest, GetTermiosGivesTheLinesSettings) {
  Open(300);
  const termios settings = port_.GetTermios();
  EXPECT_EQ(settings.c_cc[VTIME], 3);
  EXPECT_EQ(settings.c_cflag, terminal_.Settings().c_cflag);
}

TEST_F(SerialPortLinuxTest, SetTermiosAppliesTheSettingsAtOnce) {
  Open(100);
  termios settings = port_.GetTermios();
  settings.c_cc[VTIME] = 2;
  port_.SetTermios(settings);
  EXPECT_EQ(terminal_.Settings().c_cc[VTIME], 2);
}

TEST_F(SerialPortLinuxTest, WithoutADescriptorThereAreNoSettings) {
  const std::string message = "GetTermios() called but file descriptor was not valid.";
  EXPECT_EQ(RuntimeErrorOf([this] { port_.GetTermios(); }), message);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetOptionFlag(true); }), message);
}

// Open and Close.

TEST_F(SerialPortLinuxTest, ADeviceThatCannotBeOpenedIsAnError) {
  port_.SetDevice("");
  EXPECT_EQ(RuntimeErrorOf([this] { port_.Open(); }),
            "Attempt to open serial port but serial port definition is empty!");
  port_.SetDevice("/dev/no-such-port");
  EXPECT_EQ(RuntimeErrorOf([this] { port_.Open(); }),
            "Could not open device /dev/no-such-port. Is the device name correct and do you have "
            "read/write permission or is the device busy?");
}

TEST_F(SerialPortLinuxTest, ProgramsStartedLaterInheritTheDescriptor) {
  Open();
  const std::vector<int> descriptors = OpenDescriptorsOf(terminal_.Path());
  ASSERT_EQ(descriptors.size(), 1U);
  EXPECT_EQ(::fcntl(descriptors.front(), F_GETFD), 0);
}

TEST_F(SerialPortLinuxTest, ASecondOpenLeavesTheFirstDescriptorOpen) {
  Open();
  port_.Open();
  EXPECT_EQ(OpenDescriptorsOf(terminal_.Path()).size(), 2U);
  port_.Close();
  EXPECT_EQ(OpenDescriptorsOf(terminal_.Path()).size(), 1U);
  CloseDescriptorUnnoticed();
}

TEST_F(SerialPortLinuxTest, AFailedSecondOpenLeavesAnOpenStateWithoutADescriptor) {
  Open();
  const int first = OpenDescriptorsOf(terminal_.Path()).front();
  port_.SetDevice("/dev/no-such-port");
  EXPECT_THROW(port_.Open(), std::runtime_error);
  const std::string message = "Called but file descriptor < 0. file has not been opened";
  EXPECT_EQ(RuntimeErrorOf([this] { port_.Write("x"); }), message);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.WriteSlowly("x", 0); }), message);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.WriteByte('x'); }), message);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.ReadByte(); }), message);
  EXPECT_EQ(port_.Close(), 0);
  EXPECT_NO_THROW(port_.SetTimeout(100)) << "closed";
  ::close(first);
}

TEST_F(SerialPortLinuxTest, CloseGivesTheDescriptorBackAndCanBeRepeated) {
  EXPECT_EQ(port_.Close(), 0) << "never open";
  Open();
  EXPECT_EQ(port_.Close(), 0);
  EXPECT_TRUE(OpenDescriptorsOf(terminal_.Path()).empty());
  EXPECT_EQ(port_.Close(), 0);
  Open(100);
  port_.WriteByte('x');
  EXPECT_EQ(terminal_.Receive(1), "x");
}

TEST_F(SerialPortLinuxTest, DestructionClosesThePort) {
  {
    SerialPortLinux port(terminal_.Path(), 115200);
    port.Open();
    EXPECT_EQ(OpenDescriptorsOf(terminal_.Path()).size(), 1U);
  }
  EXPECT_TRUE(OpenDescriptorsOf(terminal_.Path()).empty());
}

TEST_F(SerialPortLinuxTest, ACloseThatFailsLeavesThePortOpenAndTheDestructorOnlyTellsOfIt) {
  const CapturedStream err(std::cerr);
  {
    SerialPortLinux port(terminal_.Path(), 115200);
    port.Open();
    CloseDescriptorUnnoticed();
    const std::string message =
        "Tried to close serial port " + terminal_.Path() + ", but close() failed.";
    EXPECT_EQ(RuntimeErrorOf([&port] { port.Close(); }), message);
    EXPECT_EQ(RuntimeErrorOf([&port] { port.Close(); }), message) << "the descriptor stays stored";
    EXPECT_EQ(RuntimeErrorOf([&port] { port.SetTimeout(0); }), kAlreadyOpen);
    EXPECT_EQ(err.Text(), "");
  }
  EXPECT_EQ(err.Text(), "!!something wrong on destruct SerialPortLinux object...\n");
}

// A line that can't be configured.

TEST_F(SerialPortLinuxTest, ADeviceThatIsNoTerminalIsToldStaysClosedAndIsHeldUntilTheEnd) {
  const auto held = [] { return OpenDescriptorsOf("/dev/full").size(); };
  {
    SerialPortLinux port("/dev/full", 115200);
    const CapturedStream out(std::cout);
    ExpectSystemError([&port] { port.Open(); });
    EXPECT_EQ(out.Text(),
              "Could not get terminal attributes for \"/dev/full\" - Inappropriate ioctl for "
              "device\n");
    EXPECT_EQ(RuntimeErrorOf([&port] { port.WriteByte(0); }),
              "Called but state != open. Call open() first");
    EXPECT_EQ(held(), 1U);
    EXPECT_EQ(port.Close(), 0);
    EXPECT_EQ(held(), 0U);
    EXPECT_THROW(port.Open(), std::system_error);
    EXPECT_EQ(held(), 1U);
  }
  EXPECT_EQ(held(), 0U);
}

TEST_F(SerialPortLinuxTest, ASecondOpenWhoseConfigurationFailsStaysOpenOnTheNewDevice) {
  Open();
  const int first = OpenDescriptorsOf(terminal_.Path()).front();
  port_.SetDevice("/dev/zero");
  const CapturedStream out(std::cout);
  ExpectSystemError([this] { port_.Open(); });
  EXPECT_EQ(OpenDescriptorsOf("/dev/zero").size(), 1U);
  EXPECT_EQ(port_.Write("x"), 1);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetTimeout(0); }), kAlreadyOpen);

  ASSERT_EQ(::write(first, "y", 1), 1);
  EXPECT_EQ(terminal_.Receive(1), "y") << "the x went to the new device";
  ::close(first);
}

TEST_F(SerialPortLinuxTest, SettingsThatCannotBeReadAreToldAndWhatWasSetIsStored) {
  Open();
  terminal_.HangUp();
  const auto told = [](const std::string& device) {
    return "Could not get terminal attributes for \"" + device + "\" - Input/output error\n";
  };
  const CapturedStream out(std::cout);
  ExpectSystemError([this] { port_.GetTermios(); });
  EXPECT_EQ(out.Text(), told(terminal_.Path()));
  ExpectSystemError([this] { port_.SetOptionFlag(true); });
  ExpectSystemError([this] { port_.SetBaudRate(9600); });
  EXPECT_EQ(port_.GetBaudRate(), 9600U);
  ExpectSystemError([this] { port_.SetDevice("/dev/other"); });
  EXPECT_EQ(port_.GetDevice(), "/dev/other");
  EXPECT_EQ(out.Text(), told(terminal_.Path()) + told(terminal_.Path()) + told(terminal_.Path()) +
                            told("/dev/other"));
}

TEST_F(SerialPortLinuxTest, SettingsThatCannotBeAppliedAreTold) {
  Open();
  const termios settings = port_.GetTermios();
  terminal_.HangUp();
  const CapturedStream out(std::cout);
  ExpectSystemError([this, &settings] { port_.SetTermios(settings); });
  EXPECT_EQ(out.Text(), "Could not apply terminal attributes for \"" + terminal_.Path() +
                            "\" - Input/output error\n");
}

// Standard output that loses the cause of an earlier failure with each text, as a full disk may.
class CauseLosingBuffer : public std::stringbuf {
 private:
  std::streamsize xsputn(const char* text, std::streamsize length) override {
    errno = ENOSPC;
    return std::stringbuf::xsputn(text, length);
  }
};

TEST_F(SerialPortLinuxTest, TheCauseToldIsThatOfTheFailureNotOfPrinting) {
  SerialPortLinux port("/dev/ttyX", 115200);
  CauseLosingBuffer buffer;
  std::streambuf* const former = std::cout.rdbuf(&buffer);
  ExpectSystemError([&port] { port.SetTermios(termios{}); });
  std::cout.rdbuf(former);
  EXPECT_EQ(buffer.str(),
            "Could not apply terminal attributes for \"/dev/ttyX\" - Bad file descriptor\n");
}

}  // namespace
}  // namespace kvo::bootloadertms
