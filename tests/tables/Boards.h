#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace kvo::bootloadertms::testing {

// A kind of board, as the tests know it.
struct Board {
  int kind;
  std::string key;  // in an image's file name; empty: no name selects this kind
  std::string board_name;
  std::string application_name;
  std::string version;
};

inline void PrintTo(const Board& board, std::ostream* out) { *out << "kind " << board.kind; }

inline const std::vector<Board>& Boards() {
  static const std::vector<Board> kBoards = {
      {1, "dk", "QDL-R2", "CORE-TAVI-WHEEL-ENGINE", "VER 1.0"},
      {2, "dr", "QDL-R2", "CORE-TAVI-ROLL-ENGINE", "VER 1.0"},
      {3, "", "PROBEX-KLM2", "PROBEX-APPLICATION-UPPER", "VER 1.0"},
      {4, "", "PROBEX-KLM2", "PROBEX-APPLICATION-BASE", "VER 1.0"},
      {5, "pu", "PROBEX-KLM3", "PROBEX-APPLICATION-UPPER", "VER 1.0"},
      {6, "pa", "PROBEX-KLM3", "PROBEX-APPLICATION-BASE", "VER 1.0"},
      {7, "wk", "PWRPK-KLM2", "PWR-APPLICATION", "VER 1.0"},
      {8, "tv", "TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"},
      {9, "tw", "TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"},
  };
  return kBoards;
}

// The first with this key; null when there is none.
inline const Board* BoardOfKey(const std::string& key) {
  for (const Board& board : Boards()) {
    if (!board.key.empty() && board.key == key) {
      return &board;
    }
  }
  return nullptr;
}

}  // namespace kvo::bootloadertms::testing
