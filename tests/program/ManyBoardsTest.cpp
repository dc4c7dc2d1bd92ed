// Many boards flashed at once by as many processes of one machine.
#include <gtest/gtest.h>

#include <string>

#include "program/Programs.h"

namespace kvo::bootloadertms::testing {
namespace {

constexpr std::size_t kBoards = 16;
constexpr int kRounds = 5;

// Of its own length and content for each board and round.
std::string ImageOf(std::size_t board, int round) {
  const std::string name = "board " + std::to_string(board) + " round " + std::to_string(round);
  std::string image;
  while (image.size() < 1000 + 150 * board) {
    image += name + "\n";
  }
  return image;
}

TEST(ManyBoardsTest, EachHoldsItsOwnImageAfterEachRound) {
  const TemporaryFolder folder;
  const StandInTools tools;
  std::vector<std::unique_ptr<SimulatedBoard>> boards;
  for (std::size_t board = 0; board < kBoards; ++board) {
    boards.push_back(std::make_unique<SimulatedBoard>(
        std::vector<std::string>{"--board", "tv", "--state", "bootloader"}));
  }
  for (int round = 0; round < kRounds; ++round) {
    std::vector<std::unique_ptr<RunningProgram>> utilities;
    for (std::size_t board = 0; board < kBoards; ++board) {
      const std::string image =
          folder.WriteFile(std::to_string(board) + "_tv.bin", ImageOf(board, round));
      utilities.push_back(
          StartUtility({boards[board]->Path(), "1000000", image, "--verbose"}, tools));
    }
    for (std::size_t board = 0; board < kBoards; ++board) {
      const Outcome outcome = OutcomeOf(*utilities[board]);
      ASSERT_EQ(outcome.exit_status, 0) << outcome.output;
      ASSERT_EQ(boards[board]->Flash(), ImageOf(board, round));
    }
  }
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
