// Reports that are lost, and terminals that go away or change their size: only the boards decide
// the result.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <csignal>
#include <string>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::EndsWith;
using namespace std::chrono_literals;

const std::vector<std::string> kUntilTheVerdict = {"--no-switch", "--no-start", "--answer-timeout",
                                                   "20000"};

struct ReaderRow {
  const char* name;
  const char* script;  // of bash; "$@" is kvo-boards and its arguments
};

void PrintTo(const ReaderRow& row, std::ostream* out) { *out << row.name; }

class LostReport : public ::testing::TestWithParam<ReaderRow> {
 protected:
  int Run(const std::vector<std::string>& begin, const SimulatedBoard& board) const {
    return RunProgram(
               std::vector<std::string>{"bash", "-c", GetParam().script, "bash", KVO_BOARDS} +
               begin + kUntilTheVerdict + std::vector<std::string>{image_, board.Path()})
        .exit_status;
  }

  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(5000));
};

TEST_P(LostReport, LeavesTheBoardsWithTheirResults) {
  for (const std::vector<std::string>& begin :
       {std::vector<std::string>{"flash", "--progress", "lines"},
        {"flash", "--progress", "bars"},
        {"flash", "--json", "--quiet"},
        {"watch", "--count", "1", "--progress", "bars", "--bell"}}) {
    SCOPED_TRACE(::testing::PrintToString(begin));
    const SimulatedBoard good({"--state", "bootloader"});
    EXPECT_EQ(Run(begin, good), 0);
    EXPECT_EQ(good.Flash(), ReadFile(image_));
    const SimulatedBoard bad({"--state", "bootloader", "--fault", "can@block:3"});
    EXPECT_EQ(Run(begin, bad), 1);
  }
}

INSTANTIATE_TEST_SUITE_P(
    LostReportTest, LostReport,
    ::testing::Values(ReaderRow{"ClosedOutput", R"("$@" >&-)"},
                      ReaderRow{"ClosedErrorOutput", R"("$@" 2>&-)"},
                      ReaderRow{"AllStandardStreamsClosed", R"("$@" <&- >&- 2>&-)"},
                      ReaderRow{"FullOutput", R"("$@" >/dev/full 2>/dev/full)"},
                      ReaderRow{"ReaderThatGoesAwayAfterAByte",
                                R"("$@" 2>&1 | head -c 1 >/dev/null; exit "${PIPESTATUS[0]}")"},
                      ReaderRow{"ReaderThatIsGoneFromTheStart", R"("$@" > >(:) 2>&1; exit $?)"}),
    [](const auto& row) { return std::string(row.param.name); });

struct CommandRow {
  const char* name;
  std::vector<std::string> begin;
  bool finishes_what_is_in_work;  // after one interrupt
};

void PrintTo(const CommandRow& row, std::ostream* out) { *out << row.name; }

class LostTerminal : public ::testing::TestWithParam<CommandRow> {
 protected:
  // Up to the answer to the last block.
  void Start(const std::vector<std::string>& run_by = {}) {
    program_ = StartBoards(
        GetParam().begin + kUntilTheVerdict + std::vector<std::string>{image_, board_.Path()},
        run_by + std::vector<std::string>{"sh", "-c", R"(export TERM=xterm; exec "$@" 1<>"$0")",
                                          terminal_.Path()});
    board_.GetsABlockAfter(2);
    EXPECT_EQ(terminal_.Receive(1).size(), 1U);
  }

  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(2548));
  const PlayedBoard board_{};
  TestTerminal terminal_;
  std::unique_ptr<RunningProgram> program_;
};

TEST_P(LostTerminal, IsNoReasonToEnd) {
  ASSERT_NO_FATAL_FAILURE(Start());
  terminal_.HangUp();
  ASSERT_NO_FATAL_FAILURE(board_.TakesTheLastBlock());
  EXPECT_EQ(program_->Wait(), 0);
}

// It is interrupted, as by any hangup.
TEST_P(LostTerminal, IsASignalToTheSessionThatItControls) {
  ASSERT_NO_FATAL_FAILURE(Start({"setsid"}));
  terminal_.HangUp();
  if (GetParam().finishes_what_is_in_work) {
    ASSERT_NO_FATAL_FAILURE(board_.TakesTheLastBlock());
  }
  EXPECT_EQ(program_->Wait(), 128 + SIGHUP);
  EXPECT_EQ(board_.Rest(), GetParam().finishes_what_is_in_work ? "" : kCanCan);
}

TEST_P(LostTerminal, MayChangeItsSizeAThousandTimes) {
  ASSERT_NO_FATAL_FAILURE(Start());
  const int near_end = ::open(terminal_.Path().c_str(), O_RDWR | O_NOCTTY);
  const auto resize = [&](int columns, int rows) {
    winsize size{};
    size.ws_col = static_cast<unsigned short>(columns);
    size.ws_row = static_cast<unsigned short>(rows);
    ::ioctl(near_end, TIOCSWINSZ, &size);
    program_->Signal(SIGWINCH);
  };
  for (int time = 0; time < 1000; ++time) {
    resize(time * 101 % 300 + 1, time * 37 % 100 + 1);
    terminal_.Receive(1 << 16, 1ms);
  }
  resize(80, 24);
  ASSERT_NO_FATAL_FAILURE(board_.TakesTheLastBlock());
  EXPECT_EQ(program_->Wait(), 0);
  const std::string text = terminal_.Receive(1 << 20, 100ms);
  EXPECT_THAT(text,
              ::testing::ContainsRegex("flashed in [0-9]+\\.[0-9] s(\x1b\\[0m)?\x1b\\[K\r\r\n"));
  EXPECT_THAT(text, EndsWith("1 board: 1 flashed\x1b[K\r\r\n\x1b[J"));
  ::close(near_end);
}

INSTANTIATE_TEST_SUITE_P(LostReportTest, LostTerminal,
                         ::testing::Values(CommandRow{"Flash", {"flash"}, false},
                                           CommandRow{"Watch", {"watch", "--count", "1"}, true}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace kvo::bootloadertms::testing
