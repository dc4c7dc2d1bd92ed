// Proves that in an upload of one block any two faults of the line together, too, make the host do,
// byte by byte, what docs/protocol.md says: each pair of answers, and on each of both an answer of
// every kind instead or before, none, or the right one twice.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "faults/SpoiltTransfer.h"

namespace kvo::bootloadertms::testing {
namespace {

using Kind = Fault::Kind;

// One answer of each kind that the dialogue knows, and several that it doesn't: CAN, silence, a
// failed read, and another.
constexpr std::array<std::uint8_t, 9> kValues = {0x06, 0x15, 'C', 'F', 'O', 0x18, 0x00, 0xFF, 'x'};

std::vector<Fault> FaultsAt(std::size_t position) {
  std::vector<Fault> faults = {{position, Kind::kDelete}, {position, Kind::kDouble}};
  for (const std::uint8_t value : kValues) {
    faults.push_back({position, Kind::kReplace, value});
    faults.push_back({position, Kind::kInsertBefore, value});
  }
  return faults;
}

// Runs each pair of faults at two of the first `positions` answers. Returns how many there were.
int RunPairs(Answering answering, std::size_t positions, Tally& tally) {
  SpoiltTransfer transfer(TransferOfOneBlock(), answering);
  int runs = 0;
  for (std::size_t second = 2; second <= positions; ++second) {
    for (std::size_t first = 1; first < second; ++first) {
      for (const Fault& one : FaultsAt(first)) {
        for (const Fault& other : FaultsAt(second)) {
          transfer.Run({one, other}, tally);
          ++runs;
        }
      }
    }
  }
  return runs;
}

TEST(AnswerFaultPairsTest, AnyTwoFaultsOnATape) {
  Tally tally;
  EXPECT_EQ(RunPairs(Answering::kTaped, 8, tally), 11200);
  EXPECT_EQ(tally, (Tally{606, 8274, 1950, 0, 370}));
}

// What a lively board repeats makes more than eight answers.
TEST(AnswerFaultPairsTest, AnyTwoFaultsOfALivelyBoard) {
  Tally tally;
  EXPECT_EQ(RunPairs(Answering::kLively, 12, tally), 26400);
  EXPECT_EQ(tally, (Tally{6834, 11341, 6465, 1760, 0}));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
