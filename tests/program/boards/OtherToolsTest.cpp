// kvo-boards as other programs see it: jq reads its report, strace its calls of the system.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::HasSubstr;

TEST(ReportForJq, IsOneObjectPerLine) {
  const TemporaryFolder folder;
  const SimulatedBoard good({"--state", "bootloader"});
  const SimulatedBoard bad({"--state", "bootloader", "--fault", "can@block:1"});
  const std::string odd_name = folder.Path("a \"quoted\" \\ port\n\xC3\xA9\x01\xFF");
  const Report report =
      RunBoards(kTransferAlone + std::vector<std::string>{folder.WriteFile("fw_tv.bin", "image"),
                                                          good.Path(), bad.Path(), odd_name});
  const std::string filter =
      R"(select(.event == "finished") | [.result, .reason, .block, .blocks, .attempts])";
  const Outcome jq = RunProgram({"jq", "-c", filter, folder.WriteFile("report", report.output)});
  EXPECT_EQ(jq.exit_status, 0) << jq.error_output;
  EXPECT_THAT(jq.output, HasSubstr("[\"flashed\",null,null,null,1]\n"));
  EXPECT_THAT(jq.output, HasSubstr("[\"failed\",\"broken\",1,1,1]\n"));
  EXPECT_THAT(jq.output, HasSubstr("[\"failed\",\"missing\",null,null,"));
}

// The calls of all processes of a run, one process after the other.
class UnderStrace : public ::testing::Test {
 protected:
  Report Run(const std::string& calls, const std::vector<std::string>& arguments) {
    Report report = RunBoards(
        arguments, {"strace", "-ff", "-qq", "-y", "-v", "-s", "0", "-a", "1", "-e",
                    "trace=" + calls, "-e", "signal=none", "-o", folder_.Path("calls/of")});
    for (const auto& file : std::filesystem::directory_iterator(folder_.Path("calls"))) {
      std::istringstream lines(ReadFile(file.path()));
      for (std::string line; std::getline(lines, line);) {
        calls_.push_back(line);
      }
    }
    return report;
  }

  std::vector<std::string> CallsWith(const std::string& text) const {
    std::vector<std::string> found;
    std::ranges::copy_if(calls_, std::back_inserter(found), [&text](const std::string& call) {
      return call.find(text) != std::string::npos;
    });
    return found;
  }

  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(2548));
  const std::string any_file_ = folder_.WriteFile("calls/any", "");
  std::vector<std::string> calls_;
};

std::string After(const std::string& text, const std::string& mark) {
  const std::size_t place = text.find(mark);
  return place == std::string::npos ? "" : text.substr(place + mark.size());
}

TEST_F(UnderStrace, BoardsGetEachPacketByOneWrite) {
  const SimulatedBoard board({"--state", "bootloader"});
  const Report report = Run(
      "write,writev,pwrite64,pwritev,pwritev2,sendto,sendmsg",
      {"flash", "--no-switch", "--no-start", "--answer-timeout", "25000", image_, board.Path()});
  EXPECT_EQ(report.exit_status, 0) << report.output << report.error_output;
  std::vector<std::string> sizes;
  for (const std::string& call : CallsWith("<" + board.Path() + ">")) {
    if (call.starts_with("write")) {
      sizes.push_back(After(call, ") = "));
    }
  }
  EXPECT_EQ(sizes, (std::vector<std::string>{"1", "1", "133", "1029", "1029", "1029", "1", "133"}))
      << "ping, request, packet 0, blocks, end of file, closing packet";
}

TEST_F(UnderStrace, BoardsStartsNoOtherProgram) {
  const SimulatedBoard board({});
  const Report report = Run("execve,execveat", {"flash", image_, board.Path(), "/dev/x;reboot"});
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_EQ(calls_.size(), 1U) << ::testing::PrintToString(calls_);
}

TEST_F(UnderStrace, BoardsHoldsThePortExclusivelyAndPutsBackItsSettings) {
  const SimulatedBoard board({"--state", "bootloader"});
  const std::string on_port = "<" + board.Path() + ">";
  Run("ioctl,flock",
      {"flash", "--no-switch", "--no-start", "--answer-timeout", "25000", image_, board.Path()});
  EXPECT_EQ(CallsWith(on_port + ", LOCK_EX|LOCK_NB) = 0").size(), 1U);
  EXPECT_EQ(CallsWith(on_port + ", TIOCEXCL) = 0").size(), 1U);
  EXPECT_EQ(CallsWith(on_port + ", TIOCNXCL) = 0").size(), 1U);
  std::string found;
  std::string last;
  for (const std::string& call : CallsWith(on_port)) {
    if (found.empty()) {
      found = After(call, "TCGETS, ");
    }
    if (call.find("TCSETS") != std::string::npos) {
      last = After(After(call, "TCSETS"), ", ");
    }
  }
  EXPECT_THAT(found, HasSubstr("c_iflag"));
  EXPECT_EQ(last, found);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
