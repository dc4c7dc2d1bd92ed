// What boards say of themselves, and that they are asked and nothing else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

using std::chrono::steady_clock;
using ::testing::AllOf;
using ::testing::HasSubstr;

Json BootloaderAt(const std::string& port) {
  return {{"event", "info"},
          {"port", port},
          {"state", "bootloader"},
          {"serial", "SN000042"},
          {"hardware", "HW-R3"},
          {"product", "KVO-TMS"},
          {"version_upper", "V2.10"},
          {"version_lower", "v1.04"},
          {"application_information", "APP-INFO 2.10"}};
}

Json ApplicationAt(const std::string& port) {
  return {{"event", "info"},
          {"port", port},
          {"state", "application"},
          {"serial", "SN000042"},
          {"hardware", "HW-R3"},
          {"product", "KVO-TMS"},
          {"version_upper", "V2.10"},
          {"version_lower", "v1.04"},
          {"boot_status", "BOOT_NORMAL"}};
}

// The questions in any order, without the pings before.
std::string QuestionsIn(const std::string& trace) {
  std::string bytes = BytesIn(trace, ">");
  bytes.erase(0, bytes.find_first_not_of('0'));
  std::ranges::sort(bytes);
  return bytes;
}

TEST(InfoTest, ABootloaderIsAskedForAllThatItKnows) {
  SimulatedBoard board({"--state", "bootloader"});
  const Report report = RunBoards({"info", "--json", board.Path()});
  EXPECT_EQ(report.exit_status, 0);
  EXPECT_EQ(report.error_output, "");
  EXPECT_EQ(report.Only("info"), BootloaderAt(board.Path()));
  EXPECT_EQ(QuestionsIn(board.Trace()), "9Vhpsv");
}

TEST(InfoTest, AnApplicationIsAskedForAllThatItKnows) {
  SimulatedBoard board({});
  const Report report = RunBoards({"info", "--json", board.Path()});
  EXPECT_EQ(report.exit_status, 0);
  EXPECT_EQ(report.error_output, "");
  EXPECT_EQ(report.Only("info"), ApplicationAt(board.Path()));
  EXPECT_EQ(QuestionsIn(board.Trace()), "Vbhpsv");
}

TEST(InfoTest, FieldsComeInTheirOrder) {
  const SimulatedBoard board({});
  EXPECT_THAT(RunBoards({"info", "--json", board.Path()}).output,
              ::testing::StartsWith(R"({"event":"info","port":")" + board.Path() +
                                    R"(","state":"application","serial":"SN000042",)"
                                    R"("hardware":"HW-R3","product":"KVO-TMS",)"
                                    R"("version_upper":"V2.10","version_lower":"v1.04",)"
                                    R"("boot_status":"BOOT_NORMAL"})"
                                    "\n"));
}

TEST(InfoTest, ASilentBoardGetsPingsForThreeSecondsAndHoldsUpNoOther) {
  const PlayedBoard silent;
  const SimulatedBoard bootloader({"--state", "bootloader"});
  const SimulatedBoard application({});
  const auto start = steady_clock::now();
  const auto program =
      StartBoards({"info", "--json", silent.Path(), bootloader.Path(), application.Path()});
  EXPECT_TRUE(program->WaitUntil(
      [&program] {
        const std::string output = program->Output();
        return output.find("SN000042") != output.rfind("SN000042");
      },
      std::chrono::seconds(60)));
  const auto known = steady_clock::now() - start;
  const Report report = ReportOf(*program);
  const auto end = steady_clock::now() - start;
  EXPECT_LT(known, std::chrono::milliseconds(1500)) << "a second, and the program's start";
  EXPECT_GE(end, std::chrono::milliseconds(3000));
  EXPECT_LT(end, std::chrono::milliseconds(4500));
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_EQ(report.Only("info", silent.Path()),
            (Json{{"event", "info"}, {"port", silent.Path()}, {"state", "silent"}}));
  EXPECT_EQ(report.Only("info", bootloader.Path()), BootloaderAt(bootloader.Path()));
  EXPECT_EQ(report.Only("info", application.Path()), ApplicationAt(application.Path()));
  const std::string pings = silent.Rest();
  EXPECT_GT(pings.size(), 5U);
  EXPECT_EQ(pings, std::string(pings.size(), '0'));
}

TEST(InfoTest, ABoardThatNeedsItsTimeIsAskedAgain) {
  const SimulatedBoard board({"--ask-again", "Cannot@s/2", "--ask-again", "signature@b/3"});
  const Report report = RunBoards({"info", "--json", board.Path()});
  EXPECT_EQ(report.exit_status, 0);
  EXPECT_EQ(report.Only("info"), ApplicationAt(board.Path()));
}

TEST(InfoTest, ABoardThatAlwaysNeedsTimeEndsWithItsDeadline) {
  const SimulatedBoard never({"--ask-again", "can@s/always"});
  const SimulatedBoard good({});
  const Report report = RunBoards({"info", "--json", "--deadline", "4", never.Path(), good.Path()});
  EXPECT_EQ(report.exit_status, 1);
  const Json info = report.Only("info", never.Path());
  EXPECT_THAT(info, FailedBy("deadline"));
  EXPECT_FALSE(info.contains("state"));
  EXPECT_EQ(report.Only("info", good.Path()), ApplicationAt(good.Path()));
}

TEST(InfoTest, TheDeadlineIsFifteenSeconds) {
  const SimulatedBoard never({"--ask-again", "can@s/always"});
  const auto start = steady_clock::now();
  const Report report = RunBoards({"info", "--json", never.Path()});
  const auto end = steady_clock::now() - start;
  EXPECT_THAT(report.Only("info"), FailedBy("deadline"));
  EXPECT_GE(end, std::chrono::milliseconds(14900));
  EXPECT_LT(end, std::chrono::milliseconds(16500));
}

TEST(InfoTest, UnknownQuestionsLeaveTheirFieldsOut) {
  const SimulatedBoard board({"--state", "bootloader", "--unknown", "hp"});
  const Report report = RunBoards({"info", "--json", board.Path()});
  EXPECT_EQ(report.exit_status, 0);
  const Json info = report.Only("info");
  EXPECT_EQ(info.value("hardware", ""), "");
  EXPECT_EQ(info.value("product", ""), "");
  EXPECT_THAT(info, HasFields(Json{{"serial", "SN000042"}, {"version_lower", "v1.04"}}));
}

TEST(InfoTest, AnswersOfAnyBytesAreStillJson) {
  const SimulatedBoard board({"--serial", "quote \" backslash \\\\ bell \a high \xE9"});
  const Report report = RunBoards({"info", "--json", board.Path()});
  EXPECT_EQ(report.exit_status, 0);
  EXPECT_THAT(report.Only("info").value("serial", ""),
              ::testing::StartsWith("quote \" backslash \\ bell \a high "));
}

TEST(InfoTest, APortThatIsMissingHasAReasonInPlaceOfAState) {
  const SimulatedBoard board({});
  const Report report = RunBoards({"info", "--json", "/dev/none", board.Path()});
  EXPECT_EQ(report.exit_status, 1);
  const Json info = report.Only("info", "/dev/none");
  EXPECT_THAT(info, FailedBy("missing"));
  EXPECT_FALSE(info.contains("state"));
  EXPECT_EQ(report.Only("info", board.Path()), ApplicationAt(board.Path()));
}

TEST(InfoTest, ALostPortHasAReasonInPlaceOfAState) {
  PlayedBoard board;
  const auto program = StartBoards({"info", "--json", board.Path()});
  ASSERT_NO_FATAL_FAILURE(board.Gets(1));
  board.Terminal().HangUp();
  const Report report = ReportOf(*program);
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_THAT(report.Only("info"), FailedBy("lost"));
}

TEST(InfoTest, AsTextItTellsTheSame) {
  const SimulatedBoard bootloader({"--state", "bootloader"});
  const SimulatedBoard application({});
  const Report report = RunBoards({"info", bootloader.Path(), application.Path()});
  EXPECT_EQ(report.exit_status, 0);
  EXPECT_THAT(report.output,
              AllOf(HasSubstr(bootloader.Path()), HasSubstr(application.Path()),
                    HasSubstr("bootloader"), HasSubstr("application"), HasSubstr("SN000042"),
                    HasSubstr("HW-R3"), HasSubstr("KVO-TMS"), HasSubstr("V2.10"),
                    HasSubstr("v1.04"), HasSubstr("BOOT_NORMAL"), HasSubstr("APP-INFO 2.10")));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
