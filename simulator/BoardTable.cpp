#include "simulator/BoardTable.h"

#include <array>

namespace kvo::boardsimulator {
namespace {

struct Row {
  std::string_view key;
  std::string_view board;
  std::string_view application;
  std::string_view version;
};

constexpr auto kRows = std::to_array<Row>({
    {"dk", "QDL-R2", "CORE-TAVI-WHEEL-ENGINE", "VER 1.0"},
    {"dr", "QDL-R2", "CORE-TAVI-ROLL-ENGINE", "VER 1.0"},
    {"pu", "PROBEX-KLM3", "PROBEX-APPLICATION-UPPER", "VER 1.0"},
    {"pa", "PROBEX-KLM3", "PROBEX-APPLICATION-BASE", "VER 1.0"},
    {"wk", "PWRPK-KLM2", "PWR-APPLICATION", "VER 1.0"},
    {"tv", "TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"},
    {"tw", "TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"},
});

}  // namespace

std::optional<BoardNames> FindBoard(std::string_view key) {
  for (const Row& row : kRows) {
    if (row.key != key) {
      continue;
    }
    return BoardNames{std::string(row.board), std::string(row.application),
                      std::string(row.version)};
  }
  return std::nullopt;
}

std::vector<std::string> BoardKeys() {
  std::vector<std::string> keys;
  keys.reserve(kRows.size());
  for (const Row& row : kRows) {
    keys.emplace_back(row.key);
  }
  return keys;
}

}  // namespace kvo::boardsimulator
