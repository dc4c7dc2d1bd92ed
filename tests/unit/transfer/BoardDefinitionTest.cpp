#include "transfer/BoardDefinition.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <type_traits>

#include "support/VtableSlot.h"

namespace kvo::bootloadertms {
namespace {

struct BoardRow {
  int kind;
  const char* board_name;
  const char* application_name;
  const char* version;
};

struct NameRow {
  const char* file_name;
  int kind;
};

void PrintTo(const BoardRow& row, std::ostream* out) { *out << "kind " << row.kind; }
void PrintTo(const NameRow& row, std::ostream* out) { *out << row.file_name; }

class BoardNames : public ::testing::TestWithParam<BoardRow> {};
class AcceptedFileName : public ::testing::TestWithParam<NameRow> {};
class RefusedFileName : public ::testing::TestWithParam<const char*> {};

TEST_P(BoardNames, FollowTheKind) {
  const BoardDefinition board(static_cast<BoardKind>(GetParam().kind));
  EXPECT_EQ(board.GetBoardName(), GetParam().board_name);
  EXPECT_EQ(board.GetApplicationName(), GetParam().application_name);
  EXPECT_EQ(board.GetVersion(), GetParam().version);
}

INSTANTIATE_TEST_SUITE_P(
    BoardDefinitionTest, BoardNames,
    ::testing::Values(BoardRow{1, "QDL-R2", "CORE-TAVI-WHEEL-ENGINE", "VER 1.0"},
                      BoardRow{2, "QDL-R2", "CORE-TAVI-ROLL-ENGINE", "VER 1.0"},
                      BoardRow{3, "PROBEX-KLM2", "PROBEX-APPLICATION-UPPER", "VER 1.0"},
                      BoardRow{4, "PROBEX-KLM2", "PROBEX-APPLICATION-BASE", "VER 1.0"},
                      BoardRow{5, "PROBEX-KLM3", "PROBEX-APPLICATION-UPPER", "VER 1.0"},
                      BoardRow{6, "PROBEX-KLM3", "PROBEX-APPLICATION-BASE", "VER 1.0"},
                      BoardRow{7, "PWRPK-KLM2", "PWR-APPLICATION", "VER 1.0"},
                      BoardRow{8, "TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"},
                      BoardRow{9, "TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"},
                      BoardRow{0, "BOARD UNKNOWN", "BOARD UNKNOWN", "BOARD UNKNOWN"},
                      BoardRow{-1, "BOARD UNKNOWN", "BOARD UNKNOWN", "BOARD UNKNOWN"},
                      BoardRow{10, "BOARD UNKNOWN", "BOARD UNKNOWN", "BOARD UNKNOWN"},
                      BoardRow{std::numeric_limits<int>::max(), "BOARD UNKNOWN", "BOARD UNKNOWN",
                               "BOARD UNKNOWN"},
                      BoardRow{std::numeric_limits<int>::min(), "BOARD UNKNOWN", "BOARD UNKNOWN",
                               "BOARD UNKNOWN"}));

TEST_P(AcceptedFileName, SelectsItsKind) {
  EXPECT_EQ(static_cast<int>(BoardDefinition(std::string(GetParam().file_name)).GetKind()),
            GetParam().kind);
}

INSTANTIATE_TEST_SUITE_P(BoardDefinitionTest, AcceptedFileName,
                         ::testing::Values(NameRow{"fw_dk.bin", 1}, NameRow{"fw_dr.bin", 2},
                                           NameRow{"fw_pu.bin", 5}, NameRow{"fw_pa.bin", 6},
                                           NameRow{"fw_wk.bin", 7}, NameRow{"fw_tv.bin", 8},
                                           NameRow{"fw_tw.bin", 9}, NameRow{"tv_07_tv.bin", 8},
                                           NameRow{"TV_07_TW.BIN", 9}, NameRow{"tv_07_tw.bin", 9},
                                           NameRow{"fw_Pu.bin", 5}, NameRow{"fw_pU", 5},
                                           NameRow{"fw_pux.bin", 5}, NameRow{"dkimage.bin", 1},
                                           NameRow{"DRimage.bin", 2}, NameRow{"wk", 7},
                                           NameRow{"_pa", 6}, NameRow{"__tv", 8}));

TEST_P(RefusedFileName, IsAnError) {
  try {
    const BoardDefinition board{std::string(GetParam())};
    FAIL() << "no error";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(),
                 "No definition associate with file name. ie : image_d.bin for QDL-R2 board");
  }
}

INSTANTIATE_TEST_SUITE_P(BoardDefinitionTest, RefusedFileName,
                         ::testing::Values("", "d", "k", "fw_", "tv_", "fw_d", "x_d.bin",
                                           "image_d.bin", "image_k.bin", "tv_image.bin",
                                           "fw_ tv.bin", "fw_vt.bin", "fw.tv", "--verbose",
                                           "fw_kd.bin", "\xC3\xA9"));

TEST(BoardDefinitionTest, NoBoardIsKindZero) { EXPECT_EQ(static_cast<int>(BoardKind::kNone), 0); }

TEST(BoardDefinitionTest, AKindIsASigned32BitInteger) {
  EXPECT_TRUE((std::is_same_v<std::underlying_type_t<BoardKind>, std::int32_t>));
}

}  // namespace
}  // namespace kvo::bootloadertms
