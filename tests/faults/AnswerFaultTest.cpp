// Proves that in an upload each answer of the board may be any byte, or be missing, or come twice,
// or have any byte before it, and any two answers an answer of every kind: the host then does, byte
// by byte, what docs/protocol.md says, and ends or waits as it says.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <memory>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "client/BootLoader.h"
#include "faults/FaultyLine.h"
#include "faults/ObligingBoard.h"
#include "support/FakeTime.h"
#include "support/Files.h"
#include "support/HeldLocks.h"
#include "support/Output.h"
#include "tables/TransferModel.h"

namespace kvo::bootloadertms::testing {
namespace {

using Kind = Fault::Kind;
using State = TransferModel::State;

// Who answers.
enum class Answering { kLively, kTaped };

// Whether the line has made up an 'O'. Nobody can tell it from the board's.
bool FakesAVerdict(const std::vector<Fault>& faults) {
  for (const Fault& fault : faults) {
    if (fault.value == 'O') {
      return true;
    }
  }
  return false;
}

// Uploads one image again and again over a line that spoils answers, and compares each run with the
// model.
class SpoiltTransfer {
 public:
  SpoiltTransfer(const std::string& image, const std::string& right_answers, Answering answering)
      : image_path_(folder_.WriteFile("fw_tv.bin", image)),
        board_(ObligingBoard::Program::kBootloader, image),
        model_(PacketZeroOfBoard(image.size(), *BoardOfKey("tv")), image),
        is_taped_(answering == Answering::kTaped) {
    auto line = std::make_unique<FaultyLine>(board_, model_, is_taped_ ? right_answers : "");
    line_ = line.get();
    client_ = std::make_unique<BootLoader>(std::move(line));
  }

  // Uploads with these faults. Fails the test unless the host kept to the model and ended, or
  // waits, as the model says. Returns whether the answer of the last fault was reached.
  bool Run(const std::vector<Fault>& faults) {
    line_->Restart(faults);
    const std::string outcome = OutcomeOfUpload();
    EXPECT_EQ(outcome, ExpectedOutcome()) << line_->Described();
    EXPECT_TRUE(line_->HasSentAll()) << line_->Described();
    EXPECT_EQ(HeldLocks(), 0);
    if (outcome == "accepted") {
      EXPECT_EQ(line_->Answers().back(), 'O');
      EXPECT_TRUE(FakesAVerdict(faults) || is_taped_ || board_.HasConfirmed());
    }
    ends_.insert(model_.GetState());
    return faults.empty() || line_->Position() >= faults.back().position;
  }

  // In which states runs have ended, or waited indefinitely.
  const std::set<State>& Ends() const { return ends_; }

 private:
  std::string OutcomeOfUpload() {
    try {
      client_->UploadImage(image_path_);
      return "accepted";
    } catch (const std::runtime_error& error) {
      return error.what();
    } catch (const EndOfRun&) {
      return "still waiting";
    } catch (const Deviation&) {
      return "deviated";
    }
  }

  std::string ExpectedOutcome() const {
    switch (model_.GetState()) {
      case State::kAccepted:
        return "accepted";
      case State::kFailed:
      case State::kCancelled:
        return "!!! YModem transmit failed. Exiting";
      case State::kRefused:
        return "!!! YModem transfer on boot loader failed. Exiting";
      case State::kStart:
      case State::kClosing:
        return "still waiting";
      default:
        return "no end in state " + std::to_string(static_cast<int>(model_.GetState()));
    }
  }

  SilencedOutput silence_;
  FakeTime time_{[](std::chrono::nanoseconds asked) { return asked; }};
  TemporaryFolder folder_;
  const std::string image_path_;
  ObligingBoard board_;
  TransferModel model_;
  const bool is_taped_;
  std::unique_ptr<BootLoader> client_;
  FaultyLine* line_ = nullptr;  // the client's port
  std::set<State> ends_;
};

class AnswerFaultTest : public ::testing::TestWithParam<Answering> {
 protected:
  // Only a board that goes on answering never starts, as nothing makes it ask again; and only a
  // tape leaves the closing packet without an answer.
  static std::set<State> AllEnds() {
    return {State::kAccepted, State::kRefused, State::kFailed, State::kCancelled,
            GetParam() == Answering::kLively ? State::kStart : State::kClosing};
  }
};

TEST_P(AnswerFaultTest, AnySingleFaultEndsAsTheModelSays) {
  const std::string image =
      std::string(1024, '\x01') + std::string(1024, '\x02') + std::string(452, '\x03');
  const std::string answers = "C\x06\x43\x06\x06\x06\x06\x43\x06O";
  SpoiltTransfer transfer(image, answers, GetParam());
  EXPECT_TRUE(transfer.Run({}));
  EXPECT_EQ(transfer.Ends(), std::set<State>{State::kAccepted});
  std::size_t position = 1;
  for (; transfer.Run({{position, Kind::kDelete}}); ++position) {
    transfer.Run({{position, Kind::kDouble}});
    for (unsigned value = 0; value < 256; ++value) {
      transfer.Run({{position, Kind::kReplace, static_cast<std::uint8_t>(value)}});
      transfer.Run({{position, Kind::kInsertBefore, static_cast<std::uint8_t>(value)}});
    }
  }
  EXPECT_EQ(position - 1, answers.size());
  EXPECT_EQ(transfer.Ends(), AllEnds());
}

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

// Runs each pair of faults at this and an earlier answer. Returns whether any run came so far.
bool RunPairs(SpoiltTransfer& transfer, std::size_t second) {
  bool came_so_far = false;
  for (std::size_t first = 1; first < second; ++first) {
    for (const Fault& one : FaultsAt(first)) {
      for (const Fault& other : FaultsAt(second)) {
        came_so_far = transfer.Run({one, other}) || came_so_far;
      }
    }
  }
  return came_so_far;
}

// What a lively board repeats makes more answers than a transfer without faults has.
TEST_P(AnswerFaultTest, AnyTwoFaultsEndAsTheModelSays) {
  const std::string answers = "C\x06\x43\x06\x06\x43\x06O";
  SpoiltTransfer transfer(std::string(700, '\x01'), answers, GetParam());
  std::size_t second = 2;
  while (RunPairs(transfer, second)) {
    ++second;
  }
  EXPECT_GT(second, answers.size());
  EXPECT_EQ(transfer.Ends(), AllEnds());
}

INSTANTIATE_TEST_SUITE_P(All, AnswerFaultTest,
                         ::testing::Values(Answering::kLively, Answering::kTaped),
                         [](const auto& test) {
                           return test.param == Answering::kLively ? "OfALivelyBoard" : "OnATape";
                         });

}  // namespace
}  // namespace kvo::bootloadertms::testing
