// A terminal of which a call of the system fails.
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <system_error>

#include "boards/ports/BoardPort.h"
#include "support/Files.h"
#include "support/RecordedSystemCalls.h"
#include "support/TestTerminal.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::OpenDescriptorsOf;
using bootloadertms::testing::RecordedSystemCalls;
using bootloadertms::testing::TestTerminal;

class TerminalFailureTest : public ::testing::TestWithParam<const char*> {
 protected:
  TerminalFailureTest() {
    termios settings = terminal_.Settings();
    settings.c_lflag |= ECHO;
    terminal_.SetSettings(settings);
  }

  const TestTerminal terminal_;
  const std::unique_ptr<BoardPort> port_ =
      MakePort(ParsePort(terminal_.Path()), 115200, std::chrono::milliseconds(0));
};

INSTANTIATE_TEST_SUITE_P(, TerminalFailureTest,
                         ::testing::Values("tcgetattr", "tcsetattr", "tcflush"),
                         [](const auto& call) { return call.param; });

TEST_P(TerminalFailureTest, ATerminalThatGoesWhileItIsOpenedIsLostAndGivenBack) {
  {
    RecordedSystemCalls calls;
    calls.Fail(GetParam(), 1, EIO);
    try {
      port_->Open();
      ADD_FAILURE() << "opened";
    } catch (const PortFailure& failure) {
      EXPECT_EQ(failure.GetReason(), Reason::kLost);
      EXPECT_STREQ(failure.what(), "the port is gone: Input/output error");
    }
  }
  EXPECT_TRUE(OpenDescriptorsOf(terminal_.Path()).empty());
  EXPECT_NE(terminal_.Settings().c_lflag & ECHO, 0U);
  port_->Open();
}

TEST_P(TerminalFailureTest, AnotherFailureOfTheSystemKeepsItsValue) {
  RecordedSystemCalls calls;
  calls.Fail(GetParam(), 1, EINVAL);
  try {
    port_->Open();
    ADD_FAILURE() << "opened";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::error_code(EINVAL, std::system_category()));
  }
}

struct Write {
  int error;
  bool is_lost;
};

TEST(TerminalWriteTest, AWriteThatFailsTellsALossFromOtherFailures) {
  const TestTerminal terminal;
  const auto port = MakePort(ParsePort(terminal.Path()), 115200, std::chrono::milliseconds(0));
  port->Open();
  for (const Write& row : {Write{EIO, true}, {ENXIO, true}, {ENODEV, true}, {EINVAL, false}}) {
    RecordedSystemCalls calls;
    calls.Fail("write", 1, row.error);
    try {
      port->WriteByte('0');
      ADD_FAILURE() << "no failure";
    } catch (const PortFailure& failure) {
      EXPECT_TRUE(row.is_lost) << row.error;
    } catch (const std::system_error& error) {
      EXPECT_FALSE(row.is_lost) << row.error;
      EXPECT_EQ(error.code().value(), row.error);
    }
  }
}

TEST(TerminalWriteTest, APacketThatCannotGoOutIsALossAndNotKept) {
  const TestTerminal terminal;
  const auto port = MakePort(ParsePort(terminal.Path()), 115200, std::chrono::milliseconds(0));
  port->Open();
  for (int byte = 0; byte < 132; ++byte) {
    port->WriteByte(1);
  }
  RecordedSystemCalls calls;
  calls.Fail("write", 1, EIO);
  EXPECT_THROW(port->WriteByte(1), PortFailure);
  EXPECT_FALSE(port->HasKeptBytes());
}

TEST(TerminalWriteTest, APacketThatIsTakenInPiecesOrInterruptedGoesOutWhole) {
  const TestTerminal terminal;
  const auto port = MakePort(ParsePort(terminal.Path()), 115200, std::chrono::milliseconds(0));
  port->Open();
  const std::string packet = "\x01" + std::string(131, 'a') + 'z';
  RecordedSystemCalls calls;
  calls.ShortenWrite(1, 100);
  calls.Fail("write", 2, EINTR);
  calls.Fail("write", 3, EAGAIN);
  for (const char byte : packet) {
    port->WriteByte(static_cast<std::uint8_t>(byte));
  }
  EXPECT_EQ(terminal.Receive(133), packet);
}

}  // namespace
}  // namespace kvo::boards
