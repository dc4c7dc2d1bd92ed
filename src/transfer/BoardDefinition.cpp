#include "transfer/BoardDefinition.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>

namespace kvo::bootloadertms {

namespace {

struct Board {
  BoardKind kind;
  const char* file_name_key;  // null: no file name selects this board
  const char* board_name;
  const char* application_name;
  const char* version;
};

// The order is that in which keys are tried.
// Deliberate: no file name selects the kinds 3 and 4.
constexpr auto kBoards = std::to_array<Board>({
    {BoardKind{1}, "dk", "QDL-R2", "CORE-TAVI-WHEEL-ENGINE", "VER 1.0"},
    {BoardKind{2}, "dr", "QDL-R2", "CORE-TAVI-ROLL-ENGINE", "VER 1.0"},
    {BoardKind{3}, nullptr, "PROBEX-KLM2", "PROBEX-APPLICATION-UPPER", "VER 1.0"},
    {BoardKind{4}, nullptr, "PROBEX-KLM2", "PROBEX-APPLICATION-BASE", "VER 1.0"},
    {BoardKind{5}, "pu", "PROBEX-KLM3", "PROBEX-APPLICATION-UPPER", "VER 1.0"},
    {BoardKind{6}, "pa", "PROBEX-KLM3", "PROBEX-APPLICATION-BASE", "VER 1.0"},
    {BoardKind{7}, "wk", "PWRPK-KLM2", "PWR-APPLICATION", "VER 1.0"},
    {BoardKind{8}, "tv", "TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"},
    {BoardKind{9}, "tw", "TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"},
});

constexpr Board kUnknownBoard = {BoardKind::kNone, nullptr, "BOARD UNKNOWN", "BOARD UNKNOWN",
                                 "BOARD UNKNOWN"};

constexpr std::size_t kKeyLength = 2;

std::string KeyOf(const std::string& file_name) {
  const std::size_t underscore = file_name.rfind('_');
  const std::size_t start = underscore == std::string::npos ? 0 : underscore + 1;
  std::string key = file_name.substr(start, kKeyLength);
  std::ranges::transform(key, key.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return key;
}

const Board& BoardOf(BoardKind kind) {
  const auto* board = std::ranges::find(kBoards, kind, &Board::kind);
  return board == kBoards.end() ? kUnknownBoard : *board;
}

}  // namespace

BoardDefinition::BoardDefinition(BoardKind kind) : kind_(kind) {}

BoardDefinition::BoardDefinition(const std::string& file_name) {
  const std::string key = KeyOf(file_name);
  const auto* board = std::ranges::find_if(kBoards, [&key](const Board& row) {
    return row.file_name_key != nullptr && key == row.file_name_key;
  });
  if (board == kBoards.end()) {
    throw std::runtime_error(
        "No definition associate with file name. ie : image_d.bin for QDL-R2 board");
  }
  kind_ = board->kind;
}

BoardKind BoardDefinition::GetKind() const { return kind_; }

std::string BoardDefinition::GetBoardName() const { return BoardOf(kind_).board_name; }

std::string BoardDefinition::GetApplicationName() const { return BoardOf(kind_).application_name; }

std::string BoardDefinition::GetVersion() const { return BoardOf(kind_).version; }

}  // namespace kvo::bootloadertms
