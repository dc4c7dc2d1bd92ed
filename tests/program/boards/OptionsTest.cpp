// What each option of an upload does: on the line, and to the result.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <termios.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::string_literals;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

const std::string kClosingPacket = "\x01\x00\xFF"s + std::string(130, '\0');

class OptionsTest : public ::testing::Test {
 protected:
  // Succeeds with a board that is simulated so.
  Report Flashes(const std::vector<std::string>& arguments, SimulatedBoard& board) const {
    Report report = RunBoards(std::vector<std::string>{"flash", "--json"} + arguments +
                              std::vector<std::string>{image_, board.Path()});
    EXPECT_EQ(report.exit_status, 0) << report.output << report.error_output;
    EXPECT_THAT(report.Only("finished"), HasFields(Json{{"result", "flashed"}}));
    EXPECT_EQ(board.Flash(), ReadFile(image_));
    return report;
  }

  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(1500));
};

TEST_F(OptionsTest, AllIsToldAsJson) {
  SimulatedBoard board({});
  const Report report = Flashes({"--answer-timeout", "1000"}, board);
  EXPECT_THAT(report.output,
              MatchesRegex(
                  "\\{\"event\":\"started\","
                  "\"time\":\"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z\","
                  "\"port\":\"" +
                  board.Path() +
                  "\",\"board\":\"TRK4_R1\",\"application\":\"TRK4-R1-APPLICATION\",\"bytes\":1500,"
                  "\"attempt\":1\\}\n"
                  "(\\{\"event\":\"progress\",\"port\":\"" +
                  board.Path() +
                  "\",\"bytes_sent\":[0-9]+,\"bytes\":1500\\}\n)+"
                  "\\{\"event\":\"finished\",\"port\":\"" +
                  board.Path() +
                  "\",\"result\":\"flashed\",\"seconds\":[0-9.]+,\"attempts\":1,"
                  "\"bytes_per_second\":[0-9]+\\}\n"
                  "\\{\"event\":\"summary\",\"boards\":1,\"flashed\":1,\"failed\":0,"
                  "\"seconds\":[0-9.]+\\}\n"));
  EXPECT_EQ(report.All("progress").back().at("bytes_sent"), 1500);
  EXPECT_EQ(report.error_output, "");
  const std::string trace = board.Trace();
  EXPECT_LT(trace.find("# bootloader started"), trace.find("# receiving an image"));
  EXPECT_LT(trace.find("# receiving an image"), trace.find("# application started"));
}

TEST_F(OptionsTest, EachTenthIsTold) {
  const SimulatedBoard board({"--state", "bootloader"});
  const Report report =
      RunBoards({"flash", "--no-switch", "--no-start", "--answer-timeout", "1000",
                 folder_.WriteFile("ten_blocks_tv.bin", ImageOf(10240)), board.Path()});
  std::string tenths;
  for (const char* percent : {"10", "20", "30", "40", "50", "60", "70", "80", "90", "100"}) {
    tenths += board.Path() + ": " + percent + " %\n";
  }
  EXPECT_THAT(report.output, HasSubstr("sending\n" + tenths + board.Path() + ": flashed in "));
}

struct SpeedRow {
  const char* rate;
  speed_t speed;
};

class SpeedOfTheLine : public ::testing::TestWithParam<SpeedRow> {};

TEST_P(SpeedOfTheLine, IsSet) {
  const TemporaryFolder folder;
  const PlayedBoard board;
  const auto program = StartBoards({"flash", "--baud", GetParam().rate, "--no-switch",
                                    folder.WriteFile("fw_tv.bin", "image"), board.Path()});
  ASSERT_NO_FATAL_FAILURE(board.GetsTheReceiveCommand());
  const termios settings = board.Terminal().Settings();
  EXPECT_EQ(::cfgetospeed(&settings), GetParam().speed);
  EXPECT_EQ(::cfgetispeed(&settings), GetParam().speed);
  EXPECT_EQ(settings.c_iflag & (IXON | IXOFF | ICRNL | ISTRIP), 0U);
  EXPECT_EQ(settings.c_oflag & OPOST, 0U);
  EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG), 0U);
}

INSTANTIATE_TEST_SUITE_P(OptionsTest, SpeedOfTheLine,
                         ::testing::Values(SpeedRow{"9600", B9600}, SpeedRow{"19200", B19200},
                                           SpeedRow{"38400", B38400}, SpeedRow{"57600", B57600},
                                           SpeedRow{"115200", B115200},
                                           SpeedRow{"1000000", B1000000}),
                         [](const auto& row) { return "Baud"s + row.param.rate; });

class PacedLine : public OptionsTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(PacedLine, IsFastEnoughForTheDefaultTimes) {
  SimulatedBoard board({"--line-rate", GetParam()});
  const Report report = Flashes({"--baud", GetParam()}, board);
  const int most = std::stoi(GetParam()) / 10;  // ten bits per byte
  EXPECT_GT(report.Only("finished").at("bytes_per_second"), 0);
  EXPECT_LE(report.Only("finished").at("bytes_per_second"), most);
}

INSTANTIATE_TEST_SUITE_P(OptionsTest, PacedLine, ::testing::Values("9600", "57600", "115200"),
                         [](const auto& row) { return "Baud"s + row.param; });

TEST_F(OptionsTest, ARecordDescribesAnImageOfAnyName) {
  SimulatedBoard board({"--state", "bootloader", "--identification", "A|B 2|C|"});
  const std::string image = folder_.WriteFile("firmware", ImageOf(1500));
  const Report report = RunBoards(
      kTransferAlone + std::vector<std::string>{"--record", "A", "B 2", "C", image, board.Path()});
  EXPECT_EQ(report.exit_status, 0) << report.output << report.error_output;
  EXPECT_EQ(board.Flash(), ReadFile(image));
}

TEST_F(OptionsTest, WithoutSwitchAndStartNothingButPingsAndTheTransferGoesOut) {
  SimulatedBoard board({"--state", "bootloader"});
  Flashes({"--no-switch", "--no-start", "--answer-timeout", "1000"}, board);
  std::string sent = BytesIn(board.Trace(), ">");
  sent.erase(0, sent.find_first_not_of('0'));
  EXPECT_THAT(sent, StartsWith("1\x01\x00\xFF"s + "1500\0"s));
  EXPECT_THAT(sent, EndsWith("\x04" + kClosingPacket));
  EXPECT_EQ(sent.size(), 1U + 133U + 2U * 1029U + 1U + 133U);
}

TEST_F(OptionsTest, WithoutSwitchTheApplicationIsNotAsked) {
  SimulatedBoard board({"--state", "bootloader"});
  Flashes({"--no-switch", "--answer-timeout", "1000"}, board);
  const std::string trace = board.Trace();
  EXPECT_EQ(BytesIn(trace, ">").find_first_not_of('0'), BytesIn(trace, ">").find("1\x01"));
  EXPECT_THAT(trace, HasSubstr("# application started"));
}

TEST_F(OptionsTest, WithoutStartTheBoardStaysInItsBootloader) {
  SimulatedBoard board({});
  Flashes({"--no-start", "--answer-timeout", "1000"}, board);
  EXPECT_THAT(BytesIn(board.Trace(), ">"), EndsWith("\x04" + kClosingPacket));
}

TEST_F(OptionsTest, ADeadlineIsKeptWithinASecond) {
  SimulatedBoard board({"--state", "bootloader", "--answer", "bootloader:1="});
  const Report report =
      RunBoards(kTransferAlone + std::vector<std::string>{"--deadline", "2", image_, board.Path()});
  EXPECT_EQ(report.exit_status, 1);
  const Json finished = report.Only("finished");
  EXPECT_THAT(finished, FailedBy("deadline"));
  EXPECT_GE(finished.value("seconds", 0.0), 1.9);
  EXPECT_LE(finished.value("seconds", 0.0), 3.0);
  EXPECT_THAT(BytesIn(board.Trace(), ">"), EndsWith("1" + kCanCan));
}

TEST_F(OptionsTest, AnAnswerIsWaitedForAsLongAsTold) {
  std::vector<std::string> at_each_place = {"--state", "bootloader"};
  for (const char* place : {"packet0", "block:1", "block:2", "eot", "closing", "verdict"}) {
    at_each_place.insert(at_each_place.end(), {"--fault", "late=300@"s + place});
  }
  SimulatedBoard early(at_each_place);
  Flashes({"--no-switch", "--no-start", "--answer-timeout", "20000"}, early);
  SimulatedBoard late({"--state", "bootloader", "--fault", "late=20000@block:2"});
  const Report report =
      RunBoards({"flash", "--json", "--no-switch", "--answer-timeout", "700", image_, late.Path()});
  EXPECT_THAT(report.Only("finished"), FailedBy("broken"));
}

TEST_F(OptionsTest, ADryRunSendsNothing) {
  const PlayedBoard board;
  const termios before = board.Terminal().Settings();
  EXPECT_EQ(RunBoards({"flash", "--dry-run", image_, board.Path()}).exit_status, 0);
  EXPECT_EQ(board.Rest(), "");
  EXPECT_EQ(board.Terminal().Settings().c_lflag, before.c_lflag);
}

TEST_F(OptionsTest, ADryRunFindsABadPort) {
  const PlayedBoard board;
  const Report report =
      RunBoards({"flash", "--json", "--dry-run", image_, board.Path(), folder_.Path("none")});
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_THAT(report.Only("finished", folder_.Path("none")), FailedBy("missing"));
  EXPECT_EQ(board.Rest(), "");
}

struct NotRawRow {
  const char* name;
  std::string content;
};

void PrintTo(const NotRawRow& row, std::ostream* out) { *out << row.name; }

class NotRaw : public ::testing::TestWithParam<NotRawRow> {};

TEST_P(NotRaw, IsRefusedUnlessItIsSaidToBe) {
  const TemporaryFolder folder;
  const std::string image = folder.WriteFile("fw_tv.bin", GetParam().content);
  SimulatedBoard board({"--state", "bootloader"});
  const Report refused = RunBoards(kTransferAlone + std::vector<std::string>{image, board.Path()});
  EXPECT_EQ(refused.exit_status, 2);
  EXPECT_EQ(refused.output, "");
  EXPECT_EQ(std::ranges::count(refused.error_output, '\n'), 1) << refused.error_output;
  EXPECT_EQ(RunBoards({"flash", "--dry-run", image, board.Path()}).exit_status, 2);
  EXPECT_FALSE(board.HasFlash());
  const Report flashed =
      RunBoards(kTransferAlone + std::vector<std::string>{"--raw", image, board.Path()});
  EXPECT_EQ(flashed.exit_status, 0) << flashed.output << flashed.error_output;
  EXPECT_TRUE(board.Flash() == GetParam().content);
}

INSTANTIATE_TEST_SUITE_P(
    OptionsTest, NotRaw,
    ::testing::Values(
        NotRawRow{"Elf",
                  "\x7F"
                  "ELF\x01\x01\x01"s +
                      std::string(9, '\0') + "\x02\x00\x8D\x00\x01\x00\x00\x00"s +
                      std::string(28, '\0')},
        NotRawRow{"IntelHex", ":10010000214601360121470136007EFE09D2190140\n:00000001FF\n"},
        NotRawRow{"IntelHexOfWindows", ":020000040800F2\r\n:0400000000040020D8\r\n:00000001FF\r\n"},
        NotRawRow{"SRecords", "S00F000068656C6C6F202020202000003C\nS9030000FC\n"},
        NotRawRow{"TiText", "@F000\n31 40 00 03 B2 40 80 5A 20 01 D2 D3 22 00 D2 E3\nq\n"},
        NotRawRow{"TiCoff",
                  "\xC2\x00\x04\x00\x12\x34\x56\x50\x00\x10\x00\x00\x20\x00\x00\x00"
                  "\x1C\x00\x03\x01\x9D\x00"s +
                      std::string(5000, '\0')}),
    [](const auto& row) { return row.param.name; });

class LogFolder : public OptionsTest {
 protected:
  // What the one log holds that contains `text`.
  std::string LogWith(const std::string& text) const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path("logs"))) {
      const std::string log = ReadFile(entry.path());
      if (log.find(text) != std::string::npos) {
        found.push_back(log);
      }
    }
    EXPECT_EQ(found.size(), 1U) << text;
    return found.empty() ? "" : found.front();
  }

  const std::vector<std::string> logging_ =
      kTransferAlone + std::vector<std::string>{"--log-dir", folder_.Path("logs")};
};

TEST_F(LogFolder, IsMadeAndHoldsWhatWasDoneWithEachBoard) {
  const SimulatedBoard good({"--state", "bootloader"});
  const SimulatedBoard bad({"--state", "bootloader", "--fault", "can@block:2"});
  RunBoards(logging_ + std::vector<std::string>{image_, good.Path(), bad.Path()});
  const std::string log_of_good = LogWith(": EOT packet send");
  EXPECT_THAT(log_of_good, HasSubstr("CRC recu du receiver"));
  EXPECT_THAT(log_of_good, ::testing::ContainsRegex("[0-9]{2}:[0-9]{2}:[0-9]{2}.*flashed in "));
  EXPECT_THAT(LogWith("CAN SendDataPacket 2"), HasSubstr("block 2 of 2"));
}

TEST_F(LogFolder, MustLetItselfBeWritten) {
  const SimulatedBoard board({"--state", "bootloader"});
  std::filesystem::create_symlink(board.Path(), folder_.Path("board"));
  std::filesystem::create_directories(folder_.Path("logs/board.log"));
  const Report report = RunBoards(logging_ + std::vector<std::string>{image_, "./board"},
                                  {"env", "-C", folder_.Path("")});
  EXPECT_EQ(report.exit_status, 2);
  EXPECT_EQ(report.output, "");
  EXPECT_EQ(report.error_output,
            "kvo-boards: --log-dir: " + folder_.Path("logs/board.log") + " can't be written\n");
}

TEST_F(LogFolder, MustLetFilesBeMadeInIt) {
  std::filesystem::permissions(folder_.Path("."), std::filesystem::perms(0755));
  std::filesystem::create_directories(folder_.Path("logs"));
  std::filesystem::permissions(folder_.Path("logs"), std::filesystem::perms(0555));
  if (RunBoards({"--version"}, AsAnotherUser()).exit_status != 0) {
    GTEST_SKIP() << "nobody but the superuser may run the program from where it is";
  }
  const Report report =
      RunBoards(logging_ + std::vector<std::string>{image_, "/dev/null"}, AsAnotherUser());
  EXPECT_EQ(report.exit_status, 2);
  EXPECT_EQ(report.error_output,
            "kvo-boards: --log-dir: " + folder_.Path("logs") + ": Permission denied\n");
}

TEST_F(LogFolder, HoldsAFilePerBoardWhateverItsPort) {
  const SimulatedBoard board({"--state", "bootloader"});
  std::filesystem::create_symlink(board.Path(), folder_.Path("board"));
  const Report report = RunBoards(
      logging_ + std::vector<std::string>{image_, "./board", "tcp:[::1]:1", "../a/b", "..//a_b"},
      {"env", "-C", folder_.Path("")});
  EXPECT_THAT(report.Only("finished", "./board"), HasFields(Json{{"result", "flashed"}}));
  std::size_t visible = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder_.Path("logs"))) {
    visible += entry.path().filename().string().starts_with('.') ? 0U : 1U;
  }
  EXPECT_EQ(visible, 4U);
}

TEST_F(LogFolder, HoldsEachByteWhenTraced) {
  SimulatedBoard board({});
  RunBoards(std::vector<std::string>{"flash", "--trace", "--log-dir", folder_.Path("logs"), image_,
                                     board.Path()});
  const std::string log = LogWith("flashed in ");
  const std::string trace = board.Trace();
  EXPECT_EQ(BytesIn(log, ">"), BytesIn(trace, ">"));
  EXPECT_EQ(BytesIn(log, "<"), BytesIn(trace, "<"));
  EXPECT_THAT(log, HasSubstr("|...1500.........|"));
}

TEST_F(OptionsTest, LinesBeginWithThePortAndEndWithTheSum) {
  SimulatedBoard good({"--state", "bootloader"});
  SimulatedBoard bad({"--state", "bootloader", "--fault", "byte=46@start"});
  const Report report = RunBoards({"flash", "--no-switch", "--no-start", "--answer-timeout", "1000",
                                   "--progress", "lines", image_, good.Path(), bad.Path()});
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_THAT(report.output, EndsWith("\n2 boards: 1 flashed, 1 failed\n"));
  EXPECT_THAT(report.output, HasSubstr("flashed in "));
  EXPECT_THAT(report.output, HasSubstr("failed: "));
  EXPECT_THAT(report.output, HasSubstr("100"));
  std::istringstream lines(report.output);
  for (std::string line; std::getline(lines, line) && lines.peek() != EOF;) {
    EXPECT_TRUE(line.starts_with(good.Path()) || line.starts_with(bad.Path())) << line;
  }
}

TEST_F(OptionsTest, WithoutProgressTheResultsRemain) {
  SimulatedBoard board({"--state", "bootloader"});
  const Report report = RunBoards({"flash", "--no-switch", "--no-start", "--answer-timeout", "1000",
                                   "--progress", "none", image_, board.Path()});
  EXPECT_EQ(report.exit_status, 0);
  EXPECT_THAT(report.output, Not(HasSubstr("%")));
  EXPECT_THAT(report.output, EndsWith("1 board: 1 flashed\n"));
}

TEST_F(OptionsTest, BoardsAreFlashedThoughNobodyReadsTheReport) {
  const SimulatedBoard board({"--state", "bootloader"});
  RunProgram({"sh", "-c", R"("$@" | true)", "sh", KVO_BOARDS, "flash", "--json", "--no-switch",
              "--no-start", "--answer-timeout", "1000", image_, board.Path()});
  EXPECT_EQ(board.Flash(), ReadFile(image_));
}

TEST_F(OptionsTest, BoardsAreFlashedWithoutStandardInputAndOutput) {
  const SimulatedBoard board({"--state", "bootloader"});
  const Report report = RunBoards(kTransferAlone + std::vector<std::string>{image_, board.Path()},
                                  {"sh", "-c", R"(exec "$@" <&- >&- 2>&-)", "sh"});
  EXPECT_EQ(report.exit_status, 0);
  EXPECT_EQ(board.Flash(), ReadFile(image_));
}

TEST_F(OptionsTest, QuietLeavesOneLinePerFailure) {
  SimulatedBoard good({"--state", "bootloader"});
  SimulatedBoard bad({"--state", "bootloader", "--fault", "byte=46@start"});
  const Report report =
      RunBoards({"flash", "--quiet", "--no-switch", "--no-start", "--answer-timeout", "1000",
                 image_, bad.Path(), good.Path(), folder_.Path("none")});
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_EQ(report.output, "");
  EXPECT_EQ(std::ranges::count(report.error_output, '\n'), 2) << report.error_output;
  EXPECT_THAT(report.error_output, HasSubstr(bad.Path()));
  EXPECT_THAT(report.error_output, HasSubstr(folder_.Path("none")));
  EXPECT_THAT(report.error_output, Not(HasSubstr(good.Path())));
}

TEST_F(OptionsTest, QuietSaysNothingWhenAllIsWell) {
  SimulatedBoard board({"--state", "bootloader"});
  const Report report = RunBoards({"flash", "--quiet", "--no-switch", "--no-start",
                                   "--answer-timeout", "1000", image_, board.Path()});
  EXPECT_EQ(report.exit_status, 0);
  EXPECT_EQ(report.output + report.error_output, "");
  EXPECT_EQ(board.Flash(), ReadFile(image_));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
