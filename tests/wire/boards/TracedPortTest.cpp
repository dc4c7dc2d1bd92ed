#include "boards/ports/TracedPort.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "support/Files.h"
#include "support/RuntimeErrorOf.h"
#include "wire/boards/SocketPort.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::ReadFile;
using bootloadertms::testing::RuntimeErrorOf;
using bootloadertms::testing::TemporaryFolder;
using testing::SocketPair;
using testing::SocketPort;
using Lines = std::vector<std::string>;

class TracedPortTest : public ::testing::Test {
 protected:
  TracedPortTest() { traced_.Open(); }

  // Of the log, without their times.
  Lines Trace() const {
    std::istringstream log(ReadFile(folder_.Path("log")));
    Lines lines;
    for (std::string line; std::getline(log, line);) {
      lines.push_back(line.substr(line.find(' ') + 1));
    }
    return lines;
  }

  void WriteBytes(const std::string& bytes) {
    for (const char byte : bytes) {
      traced_.WriteByte(static_cast<std::uint8_t>(byte));
    }
  }

  const TemporaryFolder folder_;
  BoardLog log_{folder_.Path("log")};
  SocketPair line_;
  SocketPort port_{std::move(line_.near), false};
  TracedPort traced_{port_, log_};
};

TEST_F(TracedPortTest, EachByteIsRecordedInItsDirectionWhenItComes) {
  traced_.WriteByte('0');
  EXPECT_EQ(Trace(), Lines{"> 30  |0|"});
  line_.Send("A");
  EXPECT_EQ(traced_.ReadByte(), 'A');
  traced_.WriteByte(0x18);
  EXPECT_EQ(Trace(), (Lines{"> 30  |0|", "< 41  |A|", "> 18  |.|"}));
  EXPECT_EQ(line_.Receive(), "0");
  EXPECT_EQ(line_.Receive(), "\x18");
}

TEST_F(TracedPortTest, APacketIsRecordedInLinesOf16BytesAndStaysOneWrite) {
  const std::string packet = std::string("\x01\x00\xFF", 3) + std::string(130, 'z');
  WriteBytes(packet);
  const Lines trace = Trace();
  ASSERT_EQ(trace.size(), 9U);
  EXPECT_EQ(trace.front(), "> 01 00 ff 7a 7a 7a 7a 7a 7a 7a 7a 7a 7a 7a 7a 7a  |...zzzzzzzzzzzzz|");
  EXPECT_EQ(trace.back(), "> 7a 7a 7a 7a 7a  |zzzzz|");
  EXPECT_EQ(line_.Receive(), packet);
}

TEST_F(TracedPortTest, ATextIsRecordedAsItCameInLinesOf16Bytes) {
  line_.Send("ping_callback_function\x7F\x80~");
  std::string answer;
  traced_.Read(answer);
  EXPECT_EQ(Trace(), (Lines{"< 70 69 6e 67 5f 63 61 6c 6c 62 61 63 6b 5f 66 75  |ping_callback_fu|",
                            "< 6e 63 74 69 6f 6e 7f 80 7e  |nction..~|"}));
}

TEST_F(TracedPortTest, ATimeOutIsNoByte) {
  std::string answer;
  EXPECT_EQ(traced_.ReadByte(), 0);
  traced_.Read(answer);
  EXPECT_EQ(Trace(), Lines{});
  line_.Send(std::string(1, '\0'));
  EXPECT_EQ(traced_.ReadByte(), 0);
  EXPECT_EQ(Trace(), Lines{"< 00  |.|"});
}

TEST_F(TracedPortTest, WritesOfTextsAreRecorded) {
  EXPECT_EQ(traced_.Write("ab"), 2);
  traced_.WriteSlowly("cd", 0);
  EXPECT_EQ(Trace(), (Lines{"> 61 62  |ab|", "> 63  |c|", "> 64  |d|"}));
  EXPECT_EQ(line_.Receive(), "ab");
  EXPECT_EQ(line_.Receive(), "c");
  EXPECT_EQ(line_.Receive(), "d");
}

TEST_F(TracedPortTest, WhatWasSentIsRecordedBeforeAReadWaits) {
  WriteBytes("\x02half");
  EXPECT_EQ(Trace(), Lines{});
  line_.far.Close();
  EXPECT_THROW(traced_.ReadByte(), PortFailure);
  EXPECT_EQ(Trace(), Lines{"> 02 68 61 6c 66  |.half|"});
}

TEST_F(TracedPortTest, WhatIsThereOfAPacketIsRecordedBeforeAnyOtherOperation) {
  std::string answer;
  for (const std::function<void()>& operation : {
           std::function<void()>([this] { traced_.Write("a"); }),
           std::function<void()>([this] { traced_.WriteSlowly("a", 0); }),
           std::function<void()>([&] { traced_.Read(answer); }),
           std::function<void()>([this] { EXPECT_EQ(traced_.FlushInput(), 0); }),
           std::function<void()>([this] { EXPECT_EQ(traced_.Close(), 0); }),
       }) {
    const std::size_t before = Trace().size();
    WriteBytes("\x02half");
    operation();
    EXPECT_EQ(Trace().at(before), "> 02 68 61 6c 66  |.half|");
  }
}

TEST_F(TracedPortTest, WhatIsNoByteIsThePortsMatter) {
  traced_.Close();
  EXPECT_EQ(traced_.SetBaudRate(9600), 0U);
  EXPECT_EQ(port_.GetBaudRate(), 9600U);
  EXPECT_EQ(traced_.GetBaudRate(), 9600U);
  EXPECT_EQ(traced_.SetDevice("other"), 0U);
  EXPECT_EQ(port_.GetDevice(), "other");
  EXPECT_EQ(traced_.GetDevice(), "other");
  EXPECT_EQ(traced_.SetOptionFlag(true), 0);
  EXPECT_EQ(RuntimeErrorOf([this] { traced_.SetTimeout(-2); }), "a time-out is -1 to 25500 ms");
}

TEST_F(TracedPortTest, ADecoratorThatChangesNothingHandsBytesOn) {
  PortDecorator decorator(static_cast<bootloadertms::ISerialPort&>(port_));
  EXPECT_EQ(decorator.Write("one"), 3);
  EXPECT_EQ(line_.Receive(), "one");
  decorator.WriteSlowly("2", 0);
  EXPECT_EQ(line_.Receive(), "2");
  decorator.WriteByte('3');
  EXPECT_EQ(line_.Receive(), "3");
  line_.Send("A");
  EXPECT_EQ(decorator.ReadByte(), 'A');
  EXPECT_EQ(decorator.Close(), 0);
  EXPECT_EQ(line_.Receive(), "");
}

}  // namespace
}  // namespace kvo::boards
