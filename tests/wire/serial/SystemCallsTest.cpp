#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

#include "serial/PortInUse.h"
#include "support/FakeTime.h"
#include "support/Files.h"
#include "support/Processes.h"
#include "support/RecordedSystemCalls.h"
#include "wire/serial/SerialPortFixture.h"

namespace kvo::bootloadertms {
namespace {

using testing::ExpectSystemError;
using testing::FakeTime;
using testing::OpenDescriptorsOf;
using testing::PathOfThisProcess;
using testing::RecordedSystemCalls;
using testing::StandInTools;
using Texts = std::vector<std::string>;

// The calls of the C library that an operation makes, in their order.
class SerialPortLinuxCallsTest : public testing::SerialPortFixture {
 protected:
  // A call on the port's descriptor; `rest` is what follows its number.
  std::string OnPort(const std::string& name, const std::string& rest) const {
    return name + "(" + std::to_string(OpenDescriptorsOf(terminal_.Path()).at(0)) + rest + ")";
  }
  std::string WriteOf(const std::string& data) const {
    return OnPort("write", ", \"" + data + "\", " + std::to_string(data.size()));
  }

  // The calls of `WriteSlowly` and the sleeps among them. Other operations wait for real time, so
  // the fake one ends before the far end is looked at.
  static FakeTime NotingSleeps(RecordedSystemCalls& calls) {
    return FakeTime([&calls](std::chrono::nanoseconds asked) {
      calls.Note("sleep " + std::to_string(asked.count()) + " ns");
      return asked;
    });
  }
};

TEST_F(SerialPortLinuxCallsTest, OpenHasTheseFlagsAndNoOthersAndThenConfigures) {
  const RecordedSystemCalls calls;
  port_.Open();
  EXPECT_EQ(calls.Texts(),
            (Texts{"open(\"" + terminal_.Path() + "\", 0x101102)", OnPort("tcgetattr", ""),
                   OnPort("tcflush", ", 0"), OnPort("tcsetattr", ", 0")}));
}

TEST_F(SerialPortLinuxCallsTest, SetTermiosDiscardsInputBeforeItAppliesAtOnce) {
  port_.Open();
  const termios settings = port_.GetTermios();
  const RecordedSystemCalls calls;
  port_.SetTermios(settings);
  EXPECT_EQ(calls.Texts(), (Texts{OnPort("tcflush", ", 0"), OnPort("tcsetattr", ", 0")}));
}

TEST_F(SerialPortLinuxCallsTest, FlushInputDiscardsInputOnly) {
  port_.Open();
  const RecordedSystemCalls calls;
  EXPECT_EQ(port_.FlushInput(), 0);
  EXPECT_EQ(calls.Texts(), Texts{OnPort("tcflush", ", 0")});
}

TEST_F(SerialPortLinuxCallsTest, FlushInputAsksTheSystemOnAClosedPortToo) {
  const RecordedSystemCalls calls;
  EXPECT_EQ(port_.FlushInput(), -1);
  EXPECT_EQ(calls.Texts(), Texts{"tcflush(-1, 0)"});
}

TEST_F(SerialPortLinuxCallsTest, WriteIsOneCallWithAllBytes) {
  port_.Open();
  const RecordedSystemCalls calls;
  EXPECT_EQ(port_.Write(std::string("ab\0c", 4)), 4);
  EXPECT_EQ(calls.Texts(), Texts{WriteOf(std::string("ab\0c", 4))});
}

TEST_F(SerialPortLinuxCallsTest, WriteOfNothingIsOneCallToo) {
  port_.Open();
  const RecordedSystemCalls calls;
  EXPECT_EQ(port_.Write(""), 0);
  EXPECT_EQ(calls.Texts(), Texts{WriteOf("")});
}

TEST_F(SerialPortLinuxCallsTest, AShortWriteIsReturnedAndTheRestIsNotSent) {
  port_.Open();
  RecordedSystemCalls calls;
  calls.ShortenWrite(1, 2);
  EXPECT_EQ(port_.Write("abcd"), 2);
  EXPECT_EQ(calls.Texts(), Texts{WriteOf("abcd")});
  port_.WriteByte('e');
  EXPECT_EQ(terminal_.Receive(3), "abe");
}

TEST_F(SerialPortLinuxCallsTest, AnInterruptedWriteIsNotRepeated) {
  port_.Open();
  RecordedSystemCalls calls;
  calls.Fail("write", 1, EINTR);
  ExpectSystemError([this] { port_.Write("ab"); });
  EXPECT_EQ(calls.Texts(), Texts{WriteOf("ab")});
}

TEST_F(SerialPortLinuxCallsTest, WriteByteIsOneCallWithOneByte) {
  port_.Open();
  const RecordedSystemCalls calls;
  port_.WriteByte('x');
  EXPECT_EQ(calls.Texts(), Texts{WriteOf("x")});
}

TEST_F(SerialPortLinuxCallsTest, WriteByteThatIsNotTakenIsNoErrorAndNotRepeated) {
  port_.Open();
  RecordedSystemCalls calls;
  calls.ShortenWrite(1, 0);
  EXPECT_NO_THROW(port_.WriteByte('x'));
  EXPECT_EQ(calls.Texts(), Texts{WriteOf("x")});
}

TEST_F(SerialPortLinuxCallsTest, WriteSlowlySleepsAfterEachByte) {
  port_.Open();
  RecordedSystemCalls calls;
  {
    const FakeTime time = NotingSleeps(calls);
    port_.WriteSlowly("abc", 20);
  }
  EXPECT_EQ(calls.Texts(), (Texts{WriteOf("a"), "sleep 20000000 ns", WriteOf("b"),
                                  "sleep 20000000 ns", WriteOf("c"), "sleep 20000000 ns"}));
  EXPECT_EQ(terminal_.Receive(3), "abc");
}

TEST_F(SerialPortLinuxCallsTest, WriteSlowlyOfNothingNeitherWritesNorSleeps) {
  port_.Open();
  RecordedSystemCalls calls;
  const FakeTime time = NotingSleeps(calls);
  port_.WriteSlowly("", 60'000);
  EXPECT_EQ(calls.Texts(), Texts{});
}

TEST_F(SerialPortLinuxCallsTest, WriteSlowlyWithoutADelayTakesNoTime) {
  port_.Open();
  std::chrono::nanoseconds slept{0};
  const RecordedSystemCalls calls;
  const FakeTime time([&slept](std::chrono::nanoseconds asked) {
    slept += asked;
    return asked;
  });
  port_.WriteSlowly("ab", 0);
  EXPECT_EQ(slept.count(), 0);
  EXPECT_EQ(calls.Texts(), (Texts{WriteOf("a"), WriteOf("b")}));
}

TEST_F(SerialPortLinuxCallsTest, WriteSlowlySleepsTheLongestDelayInFull) {
  port_.Open();
  RecordedSystemCalls calls;
  const FakeTime time = NotingSleeps(calls);
  port_.WriteSlowly("a", 4294967295U);
  EXPECT_EQ(calls.Texts(), (Texts{WriteOf("a"), "sleep 4294967295000000 ns"}));
}

TEST_F(SerialPortLinuxCallsTest, WriteSlowlyStopsAtAFailedWrite) {
  port_.Open();
  RecordedSystemCalls calls;
  calls.Fail("write", 2, EIO);
  const FakeTime time = NotingSleeps(calls);
  ExpectSystemError([this] { port_.WriteSlowly("abc", 20); });
  EXPECT_EQ(calls.Texts(), (Texts{WriteOf("a"), "sleep 20000000 ns", WriteOf("b")}));
}

TEST_F(SerialPortLinuxCallsTest, WriteSlowlyGoesOnAfterAByteThatIsNotTaken) {
  port_.Open();
  RecordedSystemCalls calls;
  calls.ShortenWrite(1, 0);
  const FakeTime time = NotingSleeps(calls);
  EXPECT_NO_THROW(port_.WriteSlowly("ab", 20));
  EXPECT_EQ(calls.Texts(),
            (Texts{WriteOf("a"), "sleep 20000000 ns", WriteOf("b"), "sleep 20000000 ns"}));
}

TEST(PortInUseCallsTest, TheTwoCommandLinesAreTheseAndNoOthers) {
  const StandInTools tools;
  const PathOfThisProcess path(tools.Environment().at("PATH"));
  const RecordedSystemCalls calls;
  EXPECT_FALSE(IsPortInUse("/dev/ttyX"));
  EXPECT_EQ(calls.Texts(), (Texts{R"(popen("lsof /dev/ttyX", "r"))",
                                  R"(popen("ps -aux | grep [m]inicom", "r"))"}));
}

TEST(PortInUseCallsTest, AHeldDeviceNeedsNoSecondCommandLine) {
  StandInTools tools;
  tools.LsofPrints("cat 1\n");
  const PathOfThisProcess path(tools.Environment().at("PATH"));
  const RecordedSystemCalls calls;
  EXPECT_TRUE(IsPortInUse("/dev/ttyX"));
  EXPECT_EQ(calls.Texts(), Texts{R"(popen("lsof /dev/ttyX", "r"))"});
}

}  // namespace
}  // namespace kvo::bootloadertms
