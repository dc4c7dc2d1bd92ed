// The examples upload_with_progress and upload_with_application_record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "program/Programs.h"
#include "support/TestTerminal.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

std::vector<std::string> Split(const std::string& text, char separator) {
  std::istringstream stream(text);
  std::vector<std::string> pieces;
  for (std::string piece; std::getline(stream, piece, separator);) {
    pieces.push_back(piece);
  }
  return pieces;
}

// The texts with an N in place of the numbers of rate and time, which differ from run to run.
std::vector<std::string> WithoutMeasuredNumbers(std::vector<std::string> texts) {
  const std::regex measured(R"( +\d+[.]\d KiB/s +\d+:\d\d left)");
  for (std::string& text : texts) {
    text = std::regex_replace(text, measured, " N KiB/s N:N left");
  }
  return texts;
}

// Runs the example with its standard error on a terminal, and returns what that has shown.
class RunOnATerminal {
 public:
  explicit RunOnATerminal(std::vector<std::string> command) {
    command.insert(command.begin(), {"bash", "-c", R"(exec "$@" 2> "$0")", terminal_.Path()});
    const auto example = StartProgram(command, tools_);
    do {
      shown_ += terminal_.Receive(kAll, 20ms);
    } while (example->Wait(0ms) == -1);
    shown_ += terminal_.Receive(kAll, 1s);
    outcome_ = OutcomeOf(*example);
  }

  const std::string& Shown() const { return shown_; }
  int ExitStatus() const { return outcome_.exit_status; }
  const std::string& Output() const { return outcome_.output; }

 private:
  static constexpr std::size_t kAll = 1'000'000;

  const TestTerminal terminal_;
  const StandInTools tools_;
  std::string shown_;
  Outcome outcome_{};
};

class UploadWithProgressTest : public ::testing::Test {
 protected:
  std::vector<std::string> Command(const SimulatedBoard& board) const {
    return {KVO_UPLOAD_WITH_PROGRESS, board.Path(), "1000000", image_};
  }

  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(4096));
};

TEST_F(UploadWithProgressTest, FlashesTheImageAndStartsTheApplication) {
  SimulatedBoard board({"--board", "tv"});
  const Outcome outcome = RunProgram(Command(board));
  EXPECT_EQ(outcome.exit_status, 0) << outcome.error_output;
  EXPECT_EQ(outcome.output, "");
  EXPECT_TRUE(board.Flash() == ImageOf(4096)) << "the board holds another image";
  EXPECT_THAT(board.Trace(), HasSubstr("# application started"));
}

TEST_F(UploadWithProgressTest, WritesALineForEachTenthWhereThereIsNoTerminal) {
  SimulatedBoard board({"--board", "tv"});
  const Outcome outcome = RunProgram(Command(board));
  EXPECT_THAT(WithoutMeasuredNumbers(Split(outcome.error_output, '\n')),
              ElementsAre("  0 %", " 28 %", " 42 % N KiB/s N:N left", " 57 % N KiB/s N:N left",
                          " 71 % N KiB/s N:N left", "100 % N KiB/s N:N left"));
  EXPECT_THAT(outcome.error_output, EndsWith("   0:00 left\n"));
}

TEST_F(UploadWithProgressTest, WritesFewLinesForALongImage) {
  const std::string image = folder_.WriteFile("long_tv.bin", ImageOf(100 * 1024));
  SimulatedBoard board({"--board", "tv"});
  const Outcome outcome = RunProgram({KVO_UPLOAD_WITH_PROGRESS, board.Path(), "1000000", image});
  EXPECT_EQ(outcome.exit_status, 0) << outcome.error_output;
  const std::vector<std::string> lines = Split(outcome.error_output, '\n');
  EXPECT_EQ(lines.size(), 11U) << outcome.error_output;
}

// Ten bits per byte: 97.66 KiB/s.
TEST_F(UploadWithProgressTest, NeverTellsMoreThanTheLineCarries) {
  SimulatedBoard board({"--board", "tv", "--line-rate", "1000000"});
  const Outcome outcome = RunProgram(Command(board));
  EXPECT_EQ(outcome.exit_status, 0) << outcome.error_output;
  const std::regex rate(R"((\S+) KiB/s)");
  auto found = std::sregex_iterator(outcome.error_output.begin(), outcome.error_output.end(), rate);
  EXPECT_NE(found, std::sregex_iterator()) << outcome.error_output;
  for (; found != std::sregex_iterator(); ++found) {
    EXPECT_LT(std::stod((*found)[1]), 97.7) << outcome.error_output;
  }
}

TEST_F(UploadWithProgressTest, DrawsABarOnATerminal) {
  SimulatedBoard board({"--board", "tv"});
  const RunOnATerminal run(Command(board));
  EXPECT_EQ(run.ExitStatus(), 0) << run.Shown();
  EXPECT_EQ(run.Output(), "");
  EXPECT_THAT(WithoutMeasuredNumbers(Split(run.Shown(), '\r')),
              ElementsAre("", "[------------------------------]   0 %",
                          "[########----------------------]  28 %",
                          "[############------------------]  42 % N KiB/s N:N left",
                          "[#################-------------]  57 % N KiB/s N:N left",
                          "[#####################---------]  71 % N KiB/s N:N left",
                          "[##############################] 100 % N KiB/s N:N left", "\n"));
  EXPECT_TRUE(board.Flash() == ImageOf(4096)) << "the board holds another image";
}

TEST_F(UploadWithProgressTest, CoversTheWholeBarByTheNextOne) {
  SimulatedBoard board({"--board", "tv"});
  std::vector<std::string> bars = Split(RunOnATerminal(Command(board)).Shown(), '\r');
  ASSERT_EQ(bars.size(), 8U);
  bars.pop_back();
  EXPECT_TRUE(std::is_sorted(bars.begin(), bars.end(), [](const auto& one, const auto& other) {
    return one.size() < other.size();
  }));
}

TEST_F(UploadWithProgressTest, TellsAFailureOnALineOfItsOwnBelowTheBar) {
  SimulatedBoard board({"--board", "tv", "--fault", "can@block:3"});
  const RunOnATerminal run(Command(board));
  EXPECT_EQ(run.ExitStatus(), 1);
  EXPECT_THAT(run.Shown(),
              EndsWith("left\r\nupload_with_progress: !!! YModem transmit failed. Exiting\r\n"));
  EXPECT_THAT(run.Shown(), Not(HasSubstr("100 %")));
  EXPECT_FALSE(board.HasFlash());
}

TEST_F(UploadWithProgressTest, LooksForTheImageBeforeItTouchesTheBoard) {
  SimulatedBoard board({"--board", "tv"});
  const Outcome outcome =
      RunProgram({KVO_UPLOAD_WITH_PROGRESS, board.Path(), "1000000", folder_.Path("missing")});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "upload_with_progress: filesystem error: cannot get file size: No such file or "
            "directory [" +
                folder_.Path("missing") + "]\n");
  EXPECT_THAT(board.Trace(), Not(HasSubstr(" > ")));
}

TEST_F(UploadWithProgressTest, ADeviceThatIsNotThereIsAnErrorWithoutABar) {
  const RunOnATerminal run({KVO_UPLOAD_WITH_PROGRESS, "/dev/no-such-port", "1000000", image_});
  EXPECT_EQ(run.ExitStatus(), 1);
  EXPECT_EQ(run.Shown(),
            "upload_with_progress: Could not open device /dev/no-such-port. Is the device name "
            "correct and do you have read/write permission or is the device busy?\r\n");
}

TEST_F(UploadWithProgressTest, ARateThatIsNoNumberIsAnError) {
  const Outcome outcome =
      RunProgram({KVO_UPLOAD_WITH_PROGRESS, "/dev/no-such-port", "fast", image_});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "upload_with_progress: Baud rate not supported : 0\n");
}

TEST_F(UploadWithProgressTest, MissingArgumentsGetTheUsage) {
  const Outcome outcome = RunProgram({KVO_UPLOAD_WITH_PROGRESS, "/dev/no-such-port", "115200"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output, "Usage: upload_with_progress DEVICE BAUD-RATE IMAGE\n");
}

class UploadWithApplicationRecordTest : public ::testing::Test {
 protected:
  Outcome Run(const SimulatedBoard& board, const std::vector<std::string>& record) const {
    std::vector<std::string> command = {KVO_UPLOAD_WITH_APPLICATION_RECORD, board.Path(), "1000000",
                                        image_};
    command.insert(command.end(), record.begin(), record.end());
    return RunProgram(command);
  }

  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("build.bin", ImageOf(3000));
};

TEST_F(UploadWithApplicationRecordTest, FlashesTheBoardThatKnowsTheRecord) {
  SimulatedBoard board({"--identification", "TRK5|TRK5-APPLICATION|2.1|"});
  const Outcome outcome = Run(board, {"TRK5", "TRK5-APPLICATION", "2.1"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.error_output, "");
  EXPECT_TRUE(board.Flash() == ImageOf(3000)) << "the board holds another image";
  EXPECT_THAT(board.Trace(), HasSubstr("# application started"));
}

TEST_F(UploadWithApplicationRecordTest, TellsTheRecordInItsOrder) {
  SimulatedBoard board({"--identification", "TRK5|TRK5-APPLICATION|2.1|"});
  const Outcome outcome = Run(board, {"TRK5-APPLICATION", "TRK5", "2.1"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "upload_with_application_record: !!! YModem transmit failed. Exiting\n");
  EXPECT_FALSE(board.HasFlash());
}

TEST_F(UploadWithApplicationRecordTest, TakesTextsOf104Characters) {
  const std::string longest(102, 'x');
  SimulatedBoard board({"--identification", longest + "|a|b|"});
  const Outcome outcome = Run(board, {longest, "a", "b"});
  EXPECT_EQ(outcome.exit_status, 0) << outcome.error_output;
  EXPECT_TRUE(board.Flash() == ImageOf(3000)) << "the board holds another image";
}

TEST_F(UploadWithApplicationRecordTest, TellsThatTextsOf105CharactersAreTooLong) {
  const std::string too_long(103, 'x');
  SimulatedBoard board({"--identification", too_long + "|a|b|"});
  const Outcome outcome = Run(board, {too_long, "a", "b"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "upload_with_application_record: Exceed size limit detected. Exiting\n");
  EXPECT_FALSE(board.HasFlash());
}

TEST_F(UploadWithApplicationRecordTest, AMissingTextGetsTheUsage) {
  SimulatedBoard board({"--board", "tv"});
  const Outcome outcome = Run(board, {"TRK5", "TRK5-APPLICATION"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "Usage: upload_with_application_record DEVICE BAUD-RATE IMAGE TEXT1 TEXT2 TEXT3\n");
}

TEST_F(UploadWithApplicationRecordTest, ARateThatIsNotSupportedIsAnError) {
  SimulatedBoard board({"--board", "tv"});
  const Outcome outcome = RunProgram(
      {KVO_UPLOAD_WITH_APPLICATION_RECORD, board.Path(), "4800", image_, "TRK5", "A", "1"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "upload_with_application_record: Baud rate not supported : 4800\n");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
