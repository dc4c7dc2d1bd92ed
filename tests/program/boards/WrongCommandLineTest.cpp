// Command lines and images with which nothing is begun.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

// In these rows stand for paths: IMAGE, EMPTY, UNNAMED (an image without a key), and for one port
// PORT, LINK and DETOUR.
using Row = std::vector<std::string>;

class WrongCommandLine : public ::testing::TestWithParam<Row> {
 protected:
  void SetUp() override { std::filesystem::create_symlink(board_.Path(), folder_.Path("link")); }

  std::string Meant(const std::string& word) const {
    const std::map<std::string, std::string> meanings = {
        {"IMAGE", folder_.WriteFile("fw_tv.bin", "image")},
        {"EMPTY", folder_.WriteFile("empty_tv.bin", "")},
        {"UNNAMED", folder_.WriteFile("fw_zz.bin", "image")},
        {"FOLDER", folder_.Path(".")},
        {"PORT", board_.Path()},
        {"LINK", folder_.Path("link")},
        {"DETOUR", "/dev/../" + board_.Path()}};
    const auto found = meanings.find(word);
    return found == meanings.end() ? word : found->second;
  }

  const TemporaryFolder folder_;
  const PlayedBoard board_{};
};

TEST_P(WrongCommandLine, IsToldInOneLineAndNothingIsBegun) {
  std::vector<std::string> arguments;
  for (const std::string& word : GetParam()) {
    arguments.push_back(Meant(word));
  }
  const Report report = RunBoards(arguments);
  EXPECT_EQ(report.exit_status, 2);
  EXPECT_EQ(report.output, "");
  EXPECT_EQ(std::ranges::count(report.error_output, '\n'), 1) << report.error_output;
  EXPECT_GT(report.error_output.size(), 10U);
  EXPECT_TRUE(report.error_output.ends_with('\n'));
  EXPECT_EQ(board_.Rest(), "");
}

INSTANTIATE_TEST_SUITE_P(Words, WrongCommandLine,
                         ::testing::Values(Row{}, Row{"flush", "IMAGE", "PORT"}, Row{"flash"},
                                           Row{"flash", "IMAGE"}, Row{"info"},
                                           Row{"flash", "--fast", "IMAGE", "PORT"},
                                           Row{"info", "--fast", "PORT"}, Row{"flash", "IMAGE", ""},
                                           Row{"list", "PORT"}, Row{"list", "--raw"}));

INSTANTIATE_TEST_SUITE_P(Values, WrongCommandLine,
                         ::testing::Values(Row{"flash", "--baud", "4800", "IMAGE", "PORT"},
                                           Row{"flash", "--baud", "fast", "IMAGE", "PORT"},
                                           Row{"info", "--baud", "4800", "PORT"},
                                           Row{"flash", "--jobs", "0", "IMAGE", "PORT"},
                                           Row{"flash", "--jobs", "-1", "IMAGE", "PORT"},
                                           Row{"flash", "--jobs", "2x", "IMAGE", "PORT"},
                                           Row{"flash", "--attempts", "0", "IMAGE", "PORT"},
                                           Row{"flash", "--attempts", "-2", "IMAGE", "PORT"},
                                           Row{"flash", "--deadline", "-1", "IMAGE", "PORT"},
                                           Row{"flash", "--deadline", "soon", "IMAGE", "PORT"},
                                           Row{"flash", "--deadline", "nan", "IMAGE", "PORT"},
                                           Row{"flash", "--answer-timeout", "-1", "IMAGE", "PORT"},
                                           Row{"flash", "--answer-timeout", "99999999999", "IMAGE",
                                               "PORT"},
                                           Row{"flash", "--progress", "sideways", "IMAGE", "PORT"},
                                           Row{"flash", "--color", "blue", "IMAGE", "PORT"},
                                           Row{"flash", "--trace", "IMAGE", "PORT"},
                                           Row{"flash", "--log-dir", "IMAGE", "IMAGE", "PORT"}));

INSTANTIATE_TEST_SUITE_P(Images, WrongCommandLine,
                         ::testing::Values(Row{"flash", "no_image_tv.bin", "PORT"},
                                           Row{"flash", "EMPTY", "PORT"},
                                           Row{"flash", "UNNAMED", "PORT"},
                                           Row{"flash", "FOLDER", "PORT"},
                                           Row{"flash", "--dry-run", "UNNAMED", "PORT"},
                                           Row{"flash", "--raw", "EMPTY", "PORT"},
                                           Row{"flash", "--json", "--record", "A", "B",
                                               std::string(110, 'x'), "UNNAMED", "PORT"}));

INSTANTIATE_TEST_SUITE_P(
    Watching, WrongCommandLine,
    ::testing::Values(
        Row{"watch"}, Row{"watch", "IMAGE"}, Row{"watch", "IMAGE", ""},
        Row{"watch", "IMAGE", "tcp:127.0.0.1:9"}, Row{"watch", "IMAGE", "PORT", "tcp:127.0.0.1:9"},
        Row{"watch", "no_image_tv.bin", "PORT"}, Row{"watch", "EMPTY", "PORT"},
        Row{"watch", "--dry-run", "UNNAMED", "PORT"}, Row{"watch", "--count", "0", "IMAGE", "PORT"},
        Row{"watch", "--count", "-1", "IMAGE", "PORT"},
        Row{"watch", "--count", "1x", "IMAGE", "PORT"},
        Row{"watch", "--jobs", "0", "IMAGE", "PORT"}, Row{"watch", "--trace", "IMAGE", "PORT"},
        Row{"watch", "--log-dir", "IMAGE", "IMAGE", "PORT"},
        Row{"flash", "--new-only", "IMAGE", "PORT"}, Row{"flash", "--count", "1", "IMAGE", "PORT"},
        Row{"flash", "--bell", "IMAGE", "PORT"}, Row{"info", "--bell", "PORT"}));

INSTANTIATE_TEST_SUITE_P(
    OnePortTwice, WrongCommandLine,
    ::testing::Values(Row{"flash", "IMAGE", "PORT", "PORT"}, Row{"flash", "IMAGE", "LINK", "PORT"},
                      Row{"flash", "IMAGE", "PORT", "DETOUR"},
                      Row{"flash", "--json", "IMAGE", "PORT", "/dev/null", "LINK"},
                      Row{"info", "PORT", "LINK"},
                      Row{"flash", "IMAGE", "PORT", "tcp:127.0.0.1:9", "tcp:127.0.0.1:9"},
                      Row{"flash", "IMAGE", "tcp:localhost:9", "PORT", "tcp:127.0.0.1:9"}));

INSTANTIATE_TEST_SUITE_P(MalformedTcp, WrongCommandLine,
                         ::testing::Values(Row{"flash", "IMAGE", "PORT", "tcp:"},
                                           Row{"flash", "IMAGE", "PORT", "tcp:localhost"},
                                           Row{"flash", "IMAGE", "PORT", "tcp:localhost:"},
                                           Row{"flash", "IMAGE", "PORT", "tcp::9"},
                                           Row{"flash", "IMAGE", "PORT", "tcp:localhost:0"},
                                           Row{"flash", "IMAGE", "PORT", "tcp:localhost:65536"},
                                           Row{"flash", "IMAGE", "PORT", "tcp:localhost:9x"},
                                           Row{"flash", "IMAGE", "PORT", "tcp:[::1:9"},
                                           Row{"flash", "IMAGE", "PORT", "tcp:[::1]9"},
                                           Row{"flash", "IMAGE", "PORT", "tcp:[]:9"},
                                           Row{"info", "PORT", "tcp:9"}));

TEST(CommandLineOfBoards, HelpAndVersionAreNoFailures) {
  for (const char* option : {"--help", "--version"}) {
    const Report report = RunBoards({option});
    EXPECT_EQ(report.exit_status, 0);
    EXPECT_NE(report.output, "");
    EXPECT_EQ(report.error_output, "");
  }
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
