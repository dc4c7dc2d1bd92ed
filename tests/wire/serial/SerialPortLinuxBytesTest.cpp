// What an open port writes, reads and discards.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "support/Files.h"
#include "support/Output.h"
#include "support/RuntimeErrorOf.h"
#include "wire/serial/SerialPortFixture.h"

namespace kvo::bootloadertms {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using std::chrono::steady_clock;
using testing::CapturedStream;
using testing::ExpectSystemError;
using testing::OpenDescriptorsOf;
using testing::RuntimeErrorOf;

class SerialPortLinuxBytesTest : public testing::SerialPortFixture {
 protected:
  std::string Read() {
    std::string data = "former content";
    port_.Read(data);
    return data;
  }
};

std::string AllBytes() {
  std::string bytes;
  for (int value = 0; value < 256; ++value) {
    bytes += static_cast<char>(value);
  }
  return bytes;
}

// Writing.

TEST_F(SerialPortLinuxBytesTest, EveryByteIsWrittenAsItIs) {
  Open();
  EXPECT_EQ(port_.Write(AllBytes()), 256);
  EXPECT_EQ(terminal_.Receive(256), AllBytes());
  for (const char byte : AllBytes()) {
    port_.WriteByte(static_cast<std::uint8_t>(byte));
  }
  EXPECT_EQ(terminal_.Receive(256), AllBytes());
}

TEST_F(SerialPortLinuxBytesTest, AClosedPortAsksForOpen) {
  const std::string message = "Called but state != open. Call open() first";
  EXPECT_EQ(RuntimeErrorOf([this] { port_.Write("x"); }), message);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.WriteSlowly("x", 0); }), message);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.WriteSlowly("", 0); }), message);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.WriteByte('x'); }), message);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.ReadByte(); }), message);
}

TEST_F(SerialPortLinuxBytesTest, WritingToAVanishedTerminalIsASystemError) {
  Open();
  terminal_.HangUp();
  ExpectSystemError([this] { port_.Write("x"); });
  ExpectSystemError([this] { port_.WriteSlowly("x", 0); });
  ExpectSystemError([this] { port_.WriteByte('x'); });
}

// Reading.

TEST_F(SerialPortLinuxBytesTest, ReadByteReturnsEveryValueOneByOne) {
  Open(-1);
  SendToPort(AllBytes());
  for (const char byte : AllBytes()) {
    ASSERT_EQ(port_.ReadByte(), static_cast<std::uint8_t>(byte));
  }
}

TEST_F(SerialPortLinuxBytesTest, ReadByteOfASilentLineIsZeroAfterTheTimeout) {
  Open(200);
  const auto start = steady_clock::now();
  EXPECT_EQ(port_.ReadByte(), 0x00);
  EXPECT_GE(steady_clock::now() - start, 150ms);
}

TEST_F(SerialPortLinuxBytesTest, ReadByteThatFailsIs0xFF) {
  Open();
  CloseDescriptorUnnoticed();
  EXPECT_EQ(port_.ReadByte(), 0xFF);
  const int replacement = ::open("/dev/null", O_RDONLY);  // so that the port's own close succeeds
  ASSERT_NE(replacement, -1);
}

TEST_F(SerialPortLinuxBytesTest, ReadGivesTheBytesAsTheyAreAndOneNul) {
  Open(-1);
  SendToPort("a\0b"s);
  EXPECT_EQ(Read(), "a\0b\0"s);
}

TEST_F(SerialPortLinuxBytesTest, ReadOfASilentLineIsEmpty) {
  Open(100);
  EXPECT_EQ(Read(), "");
}

TEST_F(SerialPortLinuxBytesTest, ReadTakesAtMost255Bytes) {
  Open(-1);
  SendToPort(std::string(255, 'a') + "b");
  EXPECT_EQ(Read(), std::string(255, 'a') + '\0');
  EXPECT_EQ(Read(), "b\0"s);
}

TEST_F(SerialPortLinuxBytesTest, ReadOnAPortNeverOpenedIsASystemErrorAndEmptiesTheText) {
  std::string data = "former content";
  ExpectSystemError([this, &data] { port_.Read(data); });
  EXPECT_EQ(data, "");
}

TEST_F(SerialPortLinuxBytesTest, ReadUsesTheDescriptorWhoseConfigurationFailed) {
  port_.SetDevice("/dev/null");
  const CapturedStream out(std::cout);
  EXPECT_THROW(port_.Open(), std::system_error);
  EXPECT_EQ(Read(), "");
}

// Discarding.

TEST_F(SerialPortLinuxBytesTest, WhatArrivedBeforeOpenIsDiscarded) {
  termios raw = terminal_.Settings();
  ::cfmakeraw(&raw);
  terminal_.SetSettings(raw);
  SendToPort("stale");
  Open(100);
  EXPECT_EQ(port_.ReadByte(), 0x00);
}

TEST_F(SerialPortLinuxBytesTest, FlushingAndConfiguringDiscardWhatHasArrived) {
  Open(100);
  const termios settings = port_.GetTermios();
  SendToPort("stale");
  EXPECT_EQ(port_.FlushInput(), 0);
  EXPECT_EQ(port_.ReadByte(), 0x00);
  SendToPort("stale");
  EXPECT_EQ(port_.ConfigureTermios(), 0);
  EXPECT_EQ(port_.ReadByte(), 0x00);
  SendToPort("stale");
  port_.SetTermios(settings);
  EXPECT_EQ(port_.ReadByte(), 0x00);
}

// Descriptor 0, which is an ordinary one to all operations but `Read`.
class SerialPortLinuxDescriptorZeroTest : public testing::SerialPortFixture {
 protected:
  SerialPortLinuxDescriptorZeroTest() : standard_input_(::dup(STDIN_FILENO)) {
    ::close(STDIN_FILENO);
    Open(-1);
  }

  ~SerialPortLinuxDescriptorZeroTest() override {
    port_.Close();
    ::dup2(standard_input_, STDIN_FILENO);
    ::close(standard_input_);
  }

  int standard_input_;
};

TEST_F(SerialPortLinuxDescriptorZeroTest, IsWrittenToAndReadFromByteByByteAndClosed) {
  ASSERT_EQ(OpenDescriptorsOf(terminal_.Path()), std::vector<int>{0});
  EXPECT_EQ(port_.Write("ab"), 2);
  port_.WriteSlowly("cd", 0);
  port_.WriteByte('e');
  EXPECT_EQ(terminal_.Receive(5), "abcde");
  SendToPort("x");
  EXPECT_EQ(port_.ReadByte(), 'x');
  EXPECT_EQ(port_.Close(), 0);
  EXPECT_EQ(::fcntl(0, F_GETFD), -1);
}

TEST_F(SerialPortLinuxDescriptorZeroTest, IsNotReadFromAtOnce) {
  std::string data = "former content";
  EXPECT_EQ(RuntimeErrorOf([this, &data] { port_.Read(data); }),
            "Read() was called but file descriptor was 0. File has not been opened");
  EXPECT_EQ(data, "");
}

}  // namespace
}  // namespace kvo::bootloadertms
