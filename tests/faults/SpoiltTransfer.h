#pragma once

#include <chrono>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "client/BootLoader.h"
#include "faults/DialogueModel.h"
#include "faults/FaultyLine.h"
#include "faults/ObligingBoard.h"
#include "support/FakeTime.h"
#include "support/SilencedOutput.h"
#include "support/TemporaryFolder.h"

namespace kvo::bootloadertms::testing {

// How many transfers ended in each way.
struct Tally {
  int accepted = 0;
  int transmit_failed = 0;
  int refused = 0;
  int waits_for_start = 0;
  int repeats_closing = 0;

  bool operator==(const Tally&) const = default;
};

void PrintTo(const Tally& tally, std::ostream* out);

// An image and what a transfer of it consists of.
struct Transfer {
  std::string image;
  std::string packet_zero;
  std::vector<std::string> blocks;
  std::string answers;  // all right ones, in their order
};

// Images of 700 and of 1500 bytes.
Transfer TransferOfOneBlock();
Transfer TransferOfTwoBlocks();

// Who answers.
enum class Answering { kLively, kTaped };

// Uploads one image again and again over a line that spoils answers, and compares each run with the
// model.
class SpoiltTransfer {
 public:
  SpoiltTransfer(const Transfer& transfer, Answering answering);
  SpoiltTransfer(const SpoiltTransfer&) = delete;
  SpoiltTransfer& operator=(const SpoiltTransfer&) = delete;

  // Uploads with these faults and counts the end. Fails the test unless the host kept to the model
  // and ended, or waits, as the model says.
  void Run(const std::vector<Fault>& faults, Tally& tally);

 private:
  std::string OutcomeOfUpload();
  std::string ExpectedOutcome() const;
  void Count(Tally& tally) const;

  SilencedOutput silence_;
  FakeTime time_{[](std::chrono::nanoseconds asked) { return asked; }};
  TemporaryFolder folder_;
  const std::string image_path_;
  ObligingBoard board_;
  LivelyEnd lively_;
  TapedEnd taped_;
  DialogueModel model_;
  const bool is_taped_;
  std::unique_ptr<BootLoader> client_;
  FaultyLine* line_ = nullptr;  // the client's port
};

}  // namespace kvo::bootloadertms::testing
