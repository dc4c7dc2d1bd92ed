#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/CapturedStream.h"
#include "support/OpenDescriptors.h"
#include "support/RuntimeErrorOf.h"
#include "support/TestTerminal.h"
#include "wire/serial/SerialPortFixture.h"

namespace kvo::bootloadertms {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using testing::CapturedStream;
using testing::ExpectSystemError;
using testing::OpenDescriptorsOf;
using testing::RuntimeErrorOf;
using testing::TestTerminal;

class SerialPortLinuxTest : public testing::SerialPortFixture {};

// Construction.

TEST_F(SerialPortLinuxTest, ConstructionKeepsDeviceAndRateAndOpensNothing) {
  EXPECT_EQ(port_.GetDevice(), terminal_.Path());
  EXPECT_EQ(port_.GetBaudRate(), 115200U);
  EXPECT_TRUE(OpenDescriptorsOf(terminal_.Path()).empty());
}

TEST(SerialPortLinuxConstructionTest, EachSupportedRateIsTaken) {
  for (const std::uint32_t rate : {9600U, 19200U, 38400U, 57600U, 115200U, 1000000U}) {
    EXPECT_EQ(SerialPortLinux("/dev/none", rate).GetBaudRate(), rate);
  }
}

TEST(SerialPortLinuxConstructionTest, AnUnsupportedRateIsRefusedByItsNumber) {
  EXPECT_EQ(RuntimeErrorOf([] { SerialPortLinux("/dev/none", 4800); }),
            "Baud rate not supported : 4800");
  EXPECT_EQ(RuntimeErrorOf([] { SerialPortLinux("/dev/none", 0); }), "Baud rate not supported : 0");
  EXPECT_EQ(RuntimeErrorOf([] { SerialPortLinux("/dev/none", 4294967295U); }),
            "Baud rate not supported : 4294967295");
}

TEST(SerialPortLinuxConstructionTest, IsAPortThatIsDestroyedThroughTheInterface) {
  EXPECT_TRUE(std::has_virtual_destructor_v<ISerialPort>);
  EXPECT_TRUE((std::is_base_of_v<ISerialPort, SerialPortLinux>));
  EXPECT_FALSE(std::is_copy_constructible_v<SerialPortLinux>);
}

// The line's settings.

TEST_F(SerialPortLinuxTest, OpenMakesTheLineRaw) {
  Open();
  const termios settings = terminal_.Settings();
  EXPECT_EQ(settings.c_cflag & 0x80000170U, 0x30U);
  EXPECT_EQ(settings.c_cflag & 0x8B0U, 0x8B0U);
  EXPECT_EQ(settings.c_lflag & 0x804BU, 0U);
  EXPECT_EQ(settings.c_iflag & 0x5EBU, 0U);
  EXPECT_EQ(settings.c_oflag & 0x1U, 0U);
}

TEST_F(SerialPortLinuxTest, FlagsThatAreNoPartOfARawLineStayAsFound) {
  termios preset = terminal_.Settings();
  preset.c_iflag = IXOFF | IXANY | INPCK | IGNPAR | IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR |
                   IGNCR | ICRNL | IXON | IUTF8;
  preset.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | ECHONL | IEXTEN | NOFLSH | TOSTOP;
  preset.c_oflag = OPOST | ONLCR | OCRNL;
  preset.c_cflag |= HUPCL | CSTOPB;
  terminal_.SetSettings(preset);
  Open();
  const termios settings = terminal_.Settings();
  EXPECT_EQ(settings.c_iflag, static_cast<tcflag_t>(IXOFF | IXANY | INPCK | IGNPAR | IUTF8));
  EXPECT_EQ(settings.c_lflag, static_cast<tcflag_t>(ECHOE | ECHOK | NOFLSH | TOSTOP));
  EXPECT_EQ(settings.c_oflag, static_cast<tcflag_t>(ONLCR | OCRNL));
  EXPECT_EQ(settings.c_cflag & (HUPCL | CSTOPB), static_cast<tcflag_t>(HUPCL));
}

TEST_F(SerialPortLinuxTest, EachRateIsPutInForceForBothDirections) {
  const std::vector<std::pair<std::uint32_t, speed_t>> rates = {
      {9600, 0x0D},    {19200, 0x0E},    {38400, 0x0F},
      {57600, 0x1001}, {115200, 0x1002}, {1000000, 0x1008}};
  Open();
  for (const auto& [rate, speed] : rates) {
    EXPECT_EQ(port_.SetBaudRate(rate), 0U);
    const termios settings = terminal_.Settings();
    EXPECT_EQ(::cfgetispeed(&settings), speed);
    EXPECT_EQ(::cfgetospeed(&settings), speed);
  }
}

TEST_F(SerialPortLinuxTest, TimeoutsArePutInForce) {
  const std::vector<std::pair<std::int32_t, std::pair<int, int>>> rows = {
      {-1, {1, 0}},  {0, {0, 0}},   {50, {0, 0}},     {99, {0, 0}},
      {100, {0, 1}}, {250, {0, 2}}, {25500, {0, 255}}};
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

TEST_F(SerialPortLinuxTest, BytesThatArrivedBeforeOpenAreDiscarded) {
  termios raw = terminal_.Settings();
  ::cfmakeraw(&raw);
  terminal_.SetSettings(raw);
  SendToPort("stale");
  Open(100);
  EXPECT_EQ(port_.ReadByte(), 0x00);
}

// SetTimeout.

TEST_F(SerialPortLinuxTest, TimeoutsOutOfRangeAreRefused) {
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetTimeout(-2); }), "time out ms is invalid");
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetTimeout(25501); }), "time out ms is invalid");
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetTimeout(std::numeric_limits<std::int32_t>::min()); }),
            "time out ms is invalid");
}

TEST_F(SerialPortLinuxTest, ARefusedTimeoutLeavesTheFormerOne) {
  port_.SetTimeout(300);
  EXPECT_THROW(port_.SetTimeout(25501), std::runtime_error);
  port_.Open();
  EXPECT_EQ(terminal_.Settings().c_cc[VTIME], 3);
}

TEST_F(SerialPortLinuxTest, AnOpenPortRefusesEveryTimeout) {
  Open();
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetTimeout(100); }),
            "Can't set time out while serial port already opened! ");
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetTimeout(-2); }),
            "Can't set time out while serial port already opened! ");
}

// SetDevice, SetBaudRate, SetOptionFlag.

TEST_F(SerialPortLinuxTest, OnAClosedPortTheSettersOnlyStore) {
  EXPECT_EQ(port_.SetDevice("/dev/other"), 0U);
  EXPECT_EQ(port_.GetDevice(), "/dev/other");
  EXPECT_EQ(port_.SetBaudRate(9600), 0U);
  EXPECT_EQ(port_.GetBaudRate(), 9600U);
}

TEST_F(SerialPortLinuxTest, AnUnsupportedRateLeavesTheOldOneAndAppliesTheSettingsAgain) {
  Open();
  termios cooked = terminal_.Settings();
  cooked.c_lflag |= ECHO;
  terminal_.SetSettings(cooked);
  EXPECT_EQ(port_.SetBaudRate(4800), 0U);
  EXPECT_EQ(port_.GetBaudRate(), 115200U);
  const termios settings = terminal_.Settings();
  EXPECT_EQ(::cfgetospeed(&settings), static_cast<speed_t>(B115200));
  EXPECT_EQ(settings.c_lflag & ECHO, 0U);
}

TEST_F(SerialPortLinuxTest, TheSameRateAppliesTheSettingsAgain) {
  Open();
  termios cooked = terminal_.Settings();
  cooked.c_lflag |= ECHO;
  terminal_.SetSettings(cooked);
  EXPECT_EQ(port_.SetBaudRate(115200), 0U);
  EXPECT_EQ(terminal_.Settings().c_lflag & ECHO, 0U);
}

TEST_F(SerialPortLinuxTest, ANewDeviceTakesEffectAtTheNextOpen) {
  const TestTerminal other;
  Open();
  termios cooked = terminal_.Settings();
  cooked.c_lflag |= ECHO;
  terminal_.SetSettings(cooked);
  EXPECT_EQ(port_.SetDevice(other.Path()), 0U);
  EXPECT_EQ(port_.GetDevice(), other.Path());
  EXPECT_EQ(terminal_.Settings().c_lflag & ECHO, 0U) << "the open device is configured anew";
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
  termios cooked = before;
  cooked.c_lflag |= ECHO;
  terminal_.SetSettings(cooked);
  EXPECT_EQ(port_.SetOptionFlag(true), 0);
  const termios settings = terminal_.Settings();
  EXPECT_EQ(settings.c_lflag, before.c_lflag);
  EXPECT_EQ(settings.c_cflag, before.c_cflag);
  EXPECT_EQ(settings.c_iflag, before.c_iflag);
  EXPECT_EQ(settings.c_oflag, before.c_oflag);
}

TEST_F(SerialPortLinuxTest, TheOptionFlagFailsOnAClosedPort) {
  EXPECT_EQ(RuntimeErrorOf([this] { port_.SetOptionFlag(true); }),
            "GetTermios() called but file descriptor was not valid.");
}

TEST_F(SerialPortLinuxTest, ConfiguringDiscardsPendingInput) {
  Open(100);
  SendToPort("stale");
  EXPECT_EQ(port_.ConfigureTermios(), 0);
  EXPECT_EQ(port_.ReadByte(), 0x00);
}

TEST_F(SerialPortLinuxTest, ConfiguringKeepsWhatWasWritten) {
  Open();
  // Many, as what was discarded may be on its way already.
  for (int count = 0; count < 100; ++count) {
    port_.WriteByte('x');
    port_.ConfigureTermios();
  }
  EXPECT_EQ(terminal_.Receive(100), std::string(100, 'x'));
}

// Open and Close.

TEST(SerialPortLinuxOpenTest, AnEmptyDeviceIsAnError) {
  SerialPortLinux port("", 115200);
  EXPECT_EQ(RuntimeErrorOf([&port] { port.Open(); }),
            "Attempt to open serial port but serial port definition is empty!");
}

TEST(SerialPortLinuxOpenTest, AMissingDeviceIsAnError) {
  SerialPortLinux port("/dev/no-such-port", 115200);
  EXPECT_EQ(RuntimeErrorOf([&port] { port.Open(); }),
            "Could not open device /dev/no-such-port. Is the device name correct and do you have "
            "read/write permission or is the device busy?");
}

TEST(SerialPortLinuxOpenTest, ADeviceThatIsNoTerminalIsToldAndStaysClosed) {
  SerialPortLinux port("/dev/null", 115200);
  const CapturedStream out(std::cout);
  ExpectSystemError([&port] { port.Open(); });
  EXPECT_EQ(
      out.Text(),
      "Could not get terminal attributes for \"/dev/null\" - Inappropriate ioctl for device\n");
  EXPECT_EQ(RuntimeErrorOf([&port] { port.WriteByte(0); }),
            "Called but state != open. Call open() first");
}

TEST(SerialPortLinuxOpenTest, AFailedConfigurationKeepsTheDescriptorUntilTheEnd) {
  {
    SerialPortLinux port("/dev/full", 115200);
    const CapturedStream out(std::cout);
    EXPECT_THROW(port.Open(), std::system_error);
    EXPECT_EQ(OpenDescriptorsOf("/dev/full").size(), 1U);
  }
  EXPECT_TRUE(OpenDescriptorsOf("/dev/full").empty());
}

TEST_F(SerialPortLinuxTest, OpenUsesTheFlagsOfASynchronousReadWriteDevice) {
  Open();
  const std::vector<int> descriptors = OpenDescriptorsOf(terminal_.Path());
  ASSERT_EQ(descriptors.size(), 1U);
  const int flags = ::fcntl(descriptors.front(), F_GETFL);
  EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
  EXPECT_EQ(flags & O_SYNC, O_SYNC);
  EXPECT_EQ(flags & O_NONBLOCK, 0);
}

TEST_F(SerialPortLinuxTest, ASecondOpenLeavesTheFirstDescriptorBehind) {
  Open();
  port_.Open();
  EXPECT_EQ(OpenDescriptorsOf(terminal_.Path()).size(), 2U);
  port_.Close();
  EXPECT_EQ(OpenDescriptorsOf(terminal_.Path()).size(), 1U);
  CloseDescriptorBehindThePort();
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
  ::close(first);
}

TEST_F(SerialPortLinuxTest, CloseGivesTheDescriptorBackAndCanBeRepeated) {
  Open();
  EXPECT_EQ(port_.Close(), 0);
  EXPECT_TRUE(OpenDescriptorsOf(terminal_.Path()).empty());
  EXPECT_EQ(port_.Close(), 0);
}

TEST_F(SerialPortLinuxTest, ClosingAPortThatWasNeverOpenIsFine) { EXPECT_EQ(port_.Close(), 0); }

TEST_F(SerialPortLinuxTest, AClosedPortCanBeOpenedAgain) {
  Open();
  port_.Close();
  Open(100);
  port_.WriteByte('x');
  EXPECT_EQ(terminal_.Receive(1), "x");
}

TEST_F(SerialPortLinuxTest, AFailedCloseIsAnErrorAndLeavesThePortOpen) {
  const CapturedStream err(std::cerr);  // where the destructor complains
  SerialPortLinux port(terminal_.Path(), 115200);
  port.Open();
  CloseDescriptorBehindThePort();
  const std::string message =
      "Tried to close serial port " + terminal_.Path() + ", but close() failed.";
  EXPECT_EQ(RuntimeErrorOf([&port] { port.Close(); }), message);
  EXPECT_EQ(RuntimeErrorOf([&port] { port.Close(); }), message) << "the descriptor stays stored";
  EXPECT_EQ(RuntimeErrorOf([&port] { port.SetTimeout(0); }),
            "Can't set time out while serial port already opened! ");
}

TEST(SerialPortLinuxDestructionTest, ClosesThePort) {
  const TestTerminal terminal;
  {
    SerialPortLinux port(terminal.Path(), 115200);
    port.Open();
    EXPECT_EQ(OpenDescriptorsOf(terminal.Path()).size(), 1U);
  }
  EXPECT_TRUE(OpenDescriptorsOf(terminal.Path()).empty());
}

TEST(SerialPortLinuxDestructionTest, TellsOfACloseThatFailsAndLetsNothingOut) {
  const TestTerminal terminal;
  const CapturedStream err(std::cerr);
  {
    SerialPortLinux port(terminal.Path(), 115200);
    port.Open();
    ::close(OpenDescriptorsOf(terminal.Path()).front());
  }
  EXPECT_EQ(err.Text(), "!!something wrong on destruct SerialPortLinux object...\n");
}

// Writing.

TEST_F(SerialPortLinuxTest, WriteSendsAllBytesUnchanged) {
  Open();
  const std::string bytes("\0\x01\n\r\x7F\xFF\x11\x13", 8);
  EXPECT_EQ(port_.Write(bytes), 8);
  EXPECT_EQ(terminal_.Receive(8), bytes);
}

TEST_F(SerialPortLinuxTest, WriteOfNothingReturnsZero) {
  Open();
  EXPECT_EQ(port_.Write(""), 0);
}

TEST_F(SerialPortLinuxTest, WriteByteSendsEveryValue) {
  Open();
  std::string sent;
  for (unsigned value = 0; value < 256; ++value) {
    port_.WriteByte(static_cast<std::uint8_t>(value));
    sent += static_cast<char>(value);
  }
  EXPECT_EQ(terminal_.Receive(256), sent);
}

TEST_F(SerialPortLinuxTest, OnAClosedPortByteOperationsAskForOpen) {
  const std::string message = "Called but state != open. Call open() first";
  EXPECT_EQ(RuntimeErrorOf([this] { port_.Write("x"); }), message);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.WriteSlowly("x", 0); }), message);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.WriteSlowly("", 0); }), message);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.WriteByte('x'); }), message);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.ReadByte(); }), message);
}

TEST_F(SerialPortLinuxTest, WritingToAVanishedTerminalIsASystemError) {
  Open();
  terminal_.HangUp();
  ExpectSystemError([this] { port_.Write("x"); });
  ExpectSystemError([this] { port_.WriteSlowly("x", 0); });
  ExpectSystemError([this] { port_.WriteByte('x'); });
}

// Reading.

TEST_F(SerialPortLinuxTest, ReadByteReturnsEveryValue) {
  Open(-1);
  for (unsigned value = 0; value < 256; ++value) {
    SendToPort(std::string(1, static_cast<char>(value)));
    ASSERT_EQ(port_.ReadByte(), value);
  }
}

TEST_F(SerialPortLinuxTest, ReadByteLeavesTheOthers) {
  Open(-1);
  SendToPort("abc");
  EXPECT_EQ(port_.ReadByte(), 'a');
  EXPECT_EQ(port_.ReadByte(), 'b');
  EXPECT_EQ(port_.ReadByte(), 'c');
}

TEST_F(SerialPortLinuxTest, ReadByteOfASilentLineIsZeroAfterTheTimeout) {
  Open(200);
  const auto start = steady_clock::now();
  EXPECT_EQ(port_.ReadByte(), 0x00);
  EXPECT_GE(steady_clock::now() - start, 150ms);
}

TEST_F(SerialPortLinuxTest, ReadByteThatFailsIs0xFF) {
  Open();
  CloseDescriptorBehindThePort();
  EXPECT_EQ(port_.ReadByte(), 0xFF);
  const int replacement = ::open("/dev/null", O_RDONLY);  // so that the port's own close succeeds
  ASSERT_NE(replacement, -1);
}

TEST_F(SerialPortLinuxTest, ReadGivesTheBytesAndOneNul) {
  Open(-1);
  SendToPort("OK");
  std::string data = "former content";
  port_.Read(data);
  EXPECT_EQ(data, std::string("OK\0", 3));
}

TEST_F(SerialPortLinuxTest, ReadOfASilentLineIsEmpty) {
  Open(100);
  std::string data = "former content";
  port_.Read(data);
  EXPECT_EQ(data, "");
}

TEST_F(SerialPortLinuxTest, ReadTakesAtMost255Bytes) {
  Open(-1);
  SendToPort(std::string(255, 'a') + "b");
  std::string data;
  port_.Read(data);
  EXPECT_EQ(data, std::string(255, 'a') + '\0');
  port_.Read(data);
  EXPECT_EQ(data, std::string("b\0", 2));
}

TEST_F(SerialPortLinuxTest, ReadGivesReceivedNulBytesAsTheyAre) {
  Open(-1);
  SendToPort(std::string("a\0b", 3));
  std::string data;
  port_.Read(data);
  EXPECT_EQ(data, std::string("a\0b\0", 4));
}

TEST_F(SerialPortLinuxTest, ReadOnAPortNeverOpenedIsASystemErrorAndEmptiesTheText) {
  std::string data = "former content";
  ExpectSystemError([this, &data] { port_.Read(data); });
  EXPECT_EQ(data, "");
}

TEST_F(SerialPortLinuxTest, ReadOfDescriptorZeroIsRefused) {
  const int standard_input = ::dup(STDIN_FILENO);
  ::close(STDIN_FILENO);
  Open(0);
  std::string data = "former content";
  const std::string message = RuntimeErrorOf([this, &data] { port_.Read(data); });
  port_.Close();
  ::dup2(standard_input, STDIN_FILENO);
  ::close(standard_input);
  EXPECT_EQ(message, "Read() was called but file descriptor was 0. File has not been opened");
  EXPECT_EQ(data, "");
}

TEST_F(SerialPortLinuxTest, FlushInputDiscardsWhatHasArrived) {
  Open(100);
  SendToPort("stale");
  EXPECT_EQ(port_.FlushInput(), 0);
  EXPECT_EQ(port_.ReadByte(), 0x00);
}

TEST_F(SerialPortLinuxTest, FlushInputKeepsWhatWasWritten) {
  Open();
  // Many, as what was discarded may be on its way already.
  for (int count = 0; count < 100; ++count) {
    port_.WriteByte('x');
    EXPECT_EQ(port_.FlushInput(), 0);
  }
  EXPECT_EQ(terminal_.Receive(100), std::string(100, 'x'));
}

TEST_F(SerialPortLinuxTest, FlushInputOnAClosedPortReturnsTheSystemsAnswer) {
  EXPECT_EQ(port_.FlushInput(), -1);
}

// GetTermios and SetTermios.

TEST_F(SerialPortLinuxTest, GetTermiosGivesTheLinesSettings) {
  Open(300);
  const termios settings = port_.GetTermios();
  EXPECT_EQ(settings.c_cc[VTIME], 3);
  EXPECT_EQ(settings.c_cflag, terminal_.Settings().c_cflag);
}

TEST_F(SerialPortLinuxTest, GetTermiosFailsOnAClosedPort) {
  EXPECT_EQ(RuntimeErrorOf([this] { port_.GetTermios(); }),
            "GetTermios() called but file descriptor was not valid.");
}

TEST_F(SerialPortLinuxTest, SettingsThatCannotBeReadAreToldOnStandardOutput) {
  Open();
  terminal_.HangUp();
  const CapturedStream out(std::cout);
  ExpectSystemError([this] { port_.GetTermios(); });
  EXPECT_EQ(out.Text(), "Could not get terminal attributes for \"" + terminal_.Path() +
                            "\" - Input/output error\n");
}

TEST_F(SerialPortLinuxTest, SettingsThatCannotBeAppliedAreToldOnStandardOutput) {
  Open();
  const termios settings = port_.GetTermios();
  terminal_.HangUp();
  const CapturedStream out(std::cout);
  ExpectSystemError([this, &settings] { port_.SetTermios(settings); });
  EXPECT_EQ(out.Text(), "Could not apply terminal attributes for \"" + terminal_.Path() +
                            "\" - Input/output error\n");
}

TEST_F(SerialPortLinuxTest, SetTermiosAppliesAtOnceAndDiscardsPendingInput) {
  Open(100);
  termios settings = port_.GetTermios();
  settings.c_cc[VTIME] = 2;
  SendToPort("stale");
  port_.SetTermios(settings);
  EXPECT_EQ(terminal_.Settings().c_cc[VTIME], 2);
  EXPECT_EQ(port_.ReadByte(), 0x00);
}

}  // namespace
}  // namespace kvo::bootloadertms
