// Sixteen boards at once, some of which are no good.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

TEST(SixteenBoardsTest, TheBadOnesDisturbNoGoodOne) {
  constexpr std::size_t kGoodBoards = 12;
  const TemporaryFolder folder;
  const std::string image = ImageOf(60000);
  std::vector<std::unique_ptr<SimulatedBoard>> boards;
  std::vector<std::string> run = {"flash",      "--json", "--no-start",
                                  "--deadline", "60",     folder.WriteFile("fw_tv.bin", image)};
  const auto add = [&boards, &run](const std::vector<std::string>& options) {
    boards.push_back(std::make_unique<SimulatedBoard>(options));
    run.push_back(boards.back()->Path());
  };
  add({"--answer", "0=", "--answer", "Q="});
  add({"--board", "wk"});
  add({"--fault", "hangup@block:20"});
  const std::map<std::size_t, std::string> reasons = {{0, "silent"}, {1, "refused"}, {2, "lost"}};
  add({"--line-rate", "115200"});
  for (std::size_t i = 0; i < kGoodBoards; ++i) {
    add({"--line-rate", "1000000"});
  }
  const Report report = RunBoards(run);
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_THAT(report.Only("summary"),
              HasFields(Json{{"boards", 16}, {"flashed", 13}, {"failed", 3}}));
  for (std::size_t i = 0; i < boards.size(); ++i) {
    const Json finished = report.Only("finished", boards[i]->Path());
    const auto reason = reasons.find(i);
    if (reason != reasons.end()) {
      EXPECT_THAT(finished, FailedBy(reason->second));
    } else {
      EXPECT_THAT(finished, HasFields(Json{{"result", "flashed"}})) << "board " << i;
      EXPECT_TRUE(boards[i]->Flash() == image) << "board " << i << " holds another image";
    }
  }
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
