#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <iostream>
#include <locale>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "client/BootLoader.h"
#include "front_end/Commands.h"
#include "front_end/Modes.h"
#include "front_end/Utility.h"
#include "support/FakeTime.h"
#include "support/Output.h"
#include "support/RuntimeErrorOf.h"
#include "support/UnaskedPort.h"
#include "tables/Commands.h"
#include "tables/Usage.h"

namespace kvo::bootloadertms {
namespace {

using std::chrono::nanoseconds;
using testing::CapturedStream;
using testing::kUsage;

// A board that plays these exchanges and is silent then. Notes what it receives.
class PlayingBoard : public testing::UnaskedPort {
 public:
  PlayingBoard(std::vector<testing::Exchange> exchanges, std::string& received)
      : exchanges_(std::move(exchanges)), received_(received) {}

  std::string GetDevice() override { Unexpected("GetDevice"); }
  std::uint32_t GetBaudRate() override { Unexpected("GetBaudRate"); }
  int Close() override { return 0; }
  int FlushInput() override { return 0; }
  void WriteByte(std::uint8_t byte) override { received_ += static_cast<char>(byte); }
  std::uint8_t ReadByte() override {
    const std::string answer = NextAnswer();
    return answer.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(answer.front());
  }
  void Read(std::string& data) override {
    data = NextAnswer();
    data += data.empty() ? "" : std::string(1, '\0');
  }

 private:
  // Of the next exchange that has an answer, once all requests up to it have come.
  std::string NextAnswer() {
    while (next_ < exchanges_.size()) {
      const auto& [request, answer] = exchanges_[next_];
      if (received_.substr(requested_.size(), request.size()) != request) {
        break;
      }
      requested_ += request;
      ++next_;
      if (!answer.empty()) {
        return answer;
      }
    }
    return "";
  }

  std::vector<testing::Exchange> exchanges_;
  std::string& received_;
  std::string requested_;
  std::size_t next_ = 0;
};

// What a run of the command mode shows and does.
class CommandRun {
 public:
  CommandRun(const testing::Command& command, const std::vector<testing::Exchange>& exchanges,
             bool verbose) {
    const testing::FakeTime time([this](nanoseconds asked) {
      slept_ += asked;
      return asked;
    });
    BootLoader client(std::make_unique<PlayingBoard>(exchanges, received_));
    const std::string typed = testing::Typed(command.code);
    const std::array<const char*, 5> arguments = {"the-program", "/dev/ttyX", "115200", "--command",
                                                  typed.c_str()};
    const CapturedStream out(std::cout);
    FrontEndLog().SetVerbose(verbose);
    error_ = testing::RuntimeErrorOf([&] { RunCommandMode({5, arguments.data()}, client); });
    FrontEndLog().SetVerbose(false);
    output_ = out.Text();
  }

  const std::string& Output() const { return output_; }
  const std::string& Error() const { return error_; }
  const std::string& Received() const { return received_; }
  nanoseconds Slept() const { return slept_; }

 private:
  std::string received_;
  std::string output_;
  std::string error_;
  nanoseconds slept_{0};
};

std::string RequestsOf(const testing::Command& command) {
  std::string requests;
  for (const testing::Exchange& exchange : command.exchanges) {
    requests += exchange.request;
  }
  return requests;
}

class EachCommand : public ::testing::TestWithParam<testing::Command> {};

TEST_P(EachCommand, ShowsItsAnswerAloneWhenQuiet) {
  const CommandRun run(GetParam(), GetParam().exchanges, false);
  EXPECT_EQ(run.Error(), "no error");
  EXPECT_EQ(run.Output(), GetParam().printed);
  EXPECT_EQ(run.Received(), RequestsOf(GetParam()));
  EXPECT_EQ(run.Slept(), GetParam().pauses);
}

TEST_P(EachCommand, TellsItsProgressWhenVerbose) {
  const CommandRun run(GetParam(), GetParam().exchanges, true);
  EXPECT_EQ(run.Error(), "no error");
  EXPECT_EQ(run.Output(), GetParam().prints_while_it_runs
                              ? GetParam().progress + GetParam().printed + " [OK]\n"
                              : GetParam().progress + " [OK]\n" + GetParam().printed);
}

INSTANTIATE_TEST_SUITE_P(CommandsTest, EachCommand, ::testing::ValuesIn(testing::Commands()),
                         [](const auto& row) { return row.param.name; });

TEST(CommandsTest, TheseTellOfASilentBoardThemselves) {
  const std::map<std::uint32_t, std::string> failures = {
      {0x30, "Bootloader doesn't respond. Exiting  "},
      {0x4B, "Calibration failed. Exiting"},
      {0x52, "Application doesn't respond. Exiting"}};
  for (const testing::Command& command : testing::Commands()) {
    if (failures.count(command.code) == 1) {
      const CommandRun verbose(command, {}, true);
      EXPECT_EQ(verbose.Error(), failures.at(command.code));
      EXPECT_EQ(verbose.Output(), command.progress + " [KO]");
      EXPECT_EQ(CommandRun(command, {}, false).Output(), "") << command.name;
    }
  }
}

TEST(CommandsTest, EachCodeIsOneCommandThatTheTestsKnow) {
  for (const Command& row : Commands()) {
    EXPECT_EQ(std::ranges::count(testing::Commands(), row.code, &testing::Command::code), 1)
        << row.usage_label;
    const Command* found = FindCommand(row.code);
    ASSERT_NE(found, nullptr) << row.code;
    EXPECT_EQ(found->run, row.run) << row.usage_label;
    EXPECT_STREQ(found->progress_label, row.progress_label) << row.usage_label;
    EXPECT_EQ(found->shows_typed_text, row.shows_typed_text) << row.usage_label;
  }
}

// A locale that groups the digits of numbers, each by itself.
class GroupedDigits : public std::numpunct<char> {
  std::string do_grouping() const override { return "\1"; }
};

TEST(UsageTest, TextIsTheSameInAnyLocale) {
  EXPECT_EQ(UsageText(), kUsage);
  const std::locale former =
      std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
  const std::string text = UsageText();
  std::locale::global(former);
  EXPECT_EQ(text, kUsage);
}

TEST(UsageTest, FewerThanFourArgumentsGetItOnStandardErrorAndStatus1) {
  const std::array<const char*, 4> arguments = {"another-name", "/dev/ttyX", "115200", "fw_tv.bin"};
  for (int argc = 0; argc <= 4; ++argc) {
    const CapturedStream out(std::cout);
    const CapturedStream err(std::cerr);
    EXPECT_EQ(RunUtility(argc, arguments.data()), 1) << argc;
    EXPECT_EQ(err.Text(), kUsage) << argc;
    EXPECT_EQ(out.Text(), "") << argc;
  }
}

}  // namespace
}  // namespace kvo::bootloadertms
