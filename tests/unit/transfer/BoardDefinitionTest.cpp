#include "transfer/BoardDefinition.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/RuntimeErrorOf.h"
#include "tables/Boards.h"

namespace kvo::bootloadertms {
namespace {

using testing::Board;
using testing::Boards;
using testing::RuntimeErrorOf;

int KindOf(const std::string& file_name) {
  return static_cast<int>(BoardDefinition(file_name).GetKind());
}

TEST(BoardDefinitionTest, EachKindHasItsNames) {
  for (const Board& row : Boards()) {
    const BoardDefinition board(static_cast<BoardKind>(row.kind));
    EXPECT_EQ(board.GetBoardName(), row.board_name) << row.kind;
    EXPECT_EQ(board.GetApplicationName(), row.application_name) << row.kind;
    EXPECT_EQ(board.GetVersion(), row.version) << row.kind;
  }
}

TEST(BoardDefinitionTest, AnyOtherKindIsUnknown) {
  constexpr auto kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr auto kGreatest = std::numeric_limits<std::int32_t>::max();
  for (const std::int32_t kind : {0, -1, Boards().back().kind + 1, kLeast, kGreatest}) {
    const BoardDefinition board(static_cast<BoardKind>(kind));
    EXPECT_EQ(board.GetBoardName(), "BOARD UNKNOWN") << kind;
    EXPECT_EQ(board.GetApplicationName(), "BOARD UNKNOWN") << kind;
    EXPECT_EQ(board.GetVersion(), "BOARD UNKNOWN") << kind;
  }
}

TEST(BoardDefinitionTest, EachKeySelectsItsKind) {
  for (const Board& row : Boards()) {
    if (!row.key.empty()) {
      EXPECT_EQ(KindOf("fw_" + row.key + ".bin"), row.kind) << row.key;
    }
  }
}

TEST(BoardDefinitionTest, TheKeyStandsAfterTheLastUnderscoreOrFirstInAnyCase) {
  const std::vector<std::pair<std::string, int>> rows = {
      {"tv_07_tw.bin", 9}, {"TV_07_TW.BIN", 9}, {"fw_Pu.bin", 5}, {"fw_pU", 5}, {"fw_pux.bin", 5},
      {"dkimage.bin", 1},  {"DRimage.bin", 2},  {"wk", 7},        {"_pa", 6},   {"__tv", 8}};
  for (const auto& [file_name, kind] : rows) {
    EXPECT_EQ(KindOf(file_name), kind) << file_name;
  }
}

TEST(BoardDefinitionTest, AnyOtherFileNameIsAnError) {
  for (const char* file_name :
       {"", "d", "k", "fw_", "tv_", "fw_d", "x_d.bin", "image_d.bin", "image_k.bin", "tv_image.bin",
        "fw_ tv.bin", "fw_vt.bin", "fw.tv", "--verbose", "fw_kd.bin", "\xC3\xA9"}) {
    EXPECT_EQ(RuntimeErrorOf([&] { KindOf(file_name); }),
              "No definition associate with file name. ie : image_d.bin for QDL-R2 board")
        << file_name;
  }
}

TEST(BoardDefinitionTest, AKindIsASigned32BitNumberAndNoneIsZero) {
  EXPECT_TRUE((std::is_same_v<std::underlying_type_t<BoardKind>, std::int32_t>));
  EXPECT_EQ(static_cast<int>(BoardKind::kNone), 0);
}

}  // namespace
}  // namespace kvo::bootloadertms
