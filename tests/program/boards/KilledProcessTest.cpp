// Processes of a run that are killed, at each of fifty places of an upload.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::HasSubstr;

constexpr std::size_t kBlocks = 44;
constexpr std::size_t kPlaces = kBlocks + 6;

struct Step {
  std::size_t length;  // of what the board gets
  std::string answer;
};

// From the ping to the verdict, which doesn't come.
std::vector<Step> Upload() {
  const std::string ack = "\x06";
  std::vector<Step> steps = {{1, "A"}, {1, "C"}, {133, ack + "C"}};
  steps.insert(steps.end(), kBlocks, {1029, ack});
  steps.insert(steps.end(), {{1, ack + "C"}, {133, ack}, {0, ""}});
  return steps;
}

class KilledProcess : public ::testing::TestWithParam<std::size_t> {
 protected:
  // Runs until the board has got what it gets at this place, and has not answered it.
  void RunUpToThePlace(const std::string& other_port) {
    program_ = StartBoards({"flash", "--json", "--no-switch", "--no-start", "--answer-timeout",
                            "25000", image_, board_.Path(), other_port});
    const std::vector<Step> upload = Upload();
    ASSERT_EQ(upload.size(), kPlaces);
    for (std::size_t i = 0; i < GetParam(); ++i) {
      ASSERT_NO_FATAL_FAILURE(board_.Gets(upload[i].length, upload[i].answer));
    }
    board_.Gets(upload[GetParam()].length);
  }

  void ExpectBoardIsLeftInOrder() {
    EXPECT_EQ(board_.Rest(), GetParam() == 0 ? "" : kCanCan);
    port_.ExpectGivenBack();
  }

  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(kBlocks * 1024));
  const PlayedBoard board_{};
  const PortAsItWas port_{board_.Path()};
  std::unique_ptr<RunningProgram> program_;
};

TEST_P(KilledProcess, OfABoardIsToldAndHarmsNoOther) {
  const SimulatedBoard other({"--state", "bootloader", "--fault", "late=1000@start"});
  ASSERT_NO_FATAL_FAILURE(RunUpToThePlace(other.Path()));
  const pid_t worker = WorkerOf(*program_, board_.Path());
  ASSERT_NE(worker, -1);
  ::kill(worker, SIGKILL);
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 1);
  const Json finished = report.Only("finished", board_.Path());
  EXPECT_THAT(finished, FailedBy("crashed"));
  EXPECT_THAT(finished.value("message", ""), HasSubstr("was ended by signal 9 (Killed)"));
  EXPECT_THAT(report.Only("finished", other.Path()), HasFields(Json{{"result", "flashed"}}));
  EXPECT_TRUE(other.Flash() == ReadFile(image_));
  ExpectBoardIsLeftInOrder();
}

TEST_P(KilledProcess, OfTheSupervisorEndsAllWorkersThatGiveBackTheirPorts) {
  const PlayedBoard other{};
  const PortAsItWas other_port(other.Path());
  ASSERT_NO_FATAL_FAILURE(RunUpToThePlace(other.Path()));
  ASSERT_NO_FATAL_FAILURE(other.GetsTheReceiveCommand());
  const std::vector<pid_t> workers = ChildrenOf(program_->Id());
  EXPECT_EQ(workers.size(), 2U);
  program_->Signal(SIGKILL);
  EXPECT_EQ(program_->Wait(), 128 + SIGKILL);
  for (const pid_t worker : workers) {
    EXPECT_TRUE(WaitUntilGone(worker));
  }
  EXPECT_EQ(other.Rest(), kCanCan);
  other_port.ExpectGivenBack();
  ExpectBoardIsLeftInOrder();
}

INSTANTIATE_TEST_SUITE_P(AtPlace, KilledProcess, ::testing::Range(std::size_t{0}, kPlaces));

}  // namespace
}  // namespace kvo::bootloadertms::testing
