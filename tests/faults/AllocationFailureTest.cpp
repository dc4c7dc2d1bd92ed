// Proves that whichever allocation of an operation fails, in a run that goes well as in one that
// fails anyhow, the operation ends with `std::bad_alloc`; that it gives all memory back, lets go of
// the mutex and of the image file; and that the client then works as before.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <iterator>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "client/BootLoader.h"
#include "faults/AllocationLedger.h"
#include "faults/BoardForAnOperation.h"
#include "faults/FailingPort.h"
#include "faults/ObligingBoard.h"
#include "faults/Operations.h"
#include "support/HeldLocks.h"
#include "support/OpenDescriptors.h"

namespace kvo::bootloadertms::testing {
namespace {

const std::string kNoBootStatus =
    "runtime_error Application doesn't respond or boot status command not implemented !";
const std::string kInvalidForBootloader =
    "runtime_error Invalid response (bootloader is probably not activated or command is not "
    "implemented). Exiting";
const std::string kInvalidForApplication =
    "runtime_error Invalid response (application is probably not activated or command is not "
    "implemented). Exiting";

// A run of an operation.
struct Consumer {
  std::string operation;
  std::size_t fewest = 0;       // what it allocates at least
  std::size_t silent_call = 0;  // of the port; from this one on nothing arrives, 0: all goes well
  std::string failure = {};     // how the run then ends
};

// Texts of more than 15 characters are allocations: answers of the board, and of exceptions. An
// upload allocates its image, the buffer of the file's stream, and the file's name.
const std::vector<Consumer> kConsumers = {
    {"PingBootloader", 0},
    {"PingApplication", 1},
    {"Calibrate", 2},
    {"ActivateBootloader", 1},
    {"ActivateBootloader", 2, 7, "runtime_error Bootloader doesn't respond. Exiting"},
    {"ActivateApplication", 2},
    {"ActivateApplication", 2, 5, "runtime_error Application doesn't respond. Exiting"},
    {"SendBootloaderCommand", 1},
    {"SendBootloaderCommand", 1, 3, kInvalidForBootloader},
    {"SendApplicationCommand", 2},
    {"SendApplicationCommand", 1, 3, kInvalidForApplication},
    {"UploadOfNoBlocks", 3},
    {"UploadOfOneBlock", 3},
    {"UploadOfThreeBlocks", 3},
    {"UploadOfThreeBlocks", 4, 136, "runtime_error !!! YModem transmit failed. Exiting"},
    {"UploadWithInfosOfNoBlocks", 3},
    {"UploadWithInfosOfOneBlock", 3},
    {"UploadWithInfosOfThreeBlocks", 3},
    {"UploadWithInfosOfThreeBlocks", 4, 136, "runtime_error !!! YModem transmit failed. Exiting"},
    {"SetVerbose", 0},
    {"SetTransferCallback", 0},
    {"ReadBootloaderInfos", 10},
    {"ReadApplicationInfos", 12},
    {"ReadApplicationInfos", 1, 3, kNoBootStatus},
    {"RestoreDefaultParameters", 0},
    {"SendCharacter", 2},
};

const Operation& OperationNamed(const std::string& name) {
  const auto& operations = Operations();
  return *std::find_if(operations.begin(), operations.end(),
                       [&](const Operation& operation) { return operation.name == name; });
}

std::string NameOf(const Consumer& consumer) {
  return consumer.operation + (consumer.silent_call == 0 ? "" : "ThatFails");
}

void PrintTo(const Consumer& consumer, std::ostream* out) { *out << NameOf(consumer); }

class AllocationFailureTest : public ::testing::TestWithParam<Consumer> {
 protected:
  // Runs the operation, verbose, with the `failing`th allocation failing, and looks at what is left
  // behind.
  std::string OutcomeWith(std::size_t failing) {
    board_.Restart();
    PortTrouble trouble(GetParam().silent_call, Failure::kSilent, true);
    std::string outcome = RoomForAnOutcome();
    BootLoader client(std::make_unique<FailingPort>(board_.Board(), trouble));
    client.SetVerbose(true);
    if (IsAnUpload(operation_)) {
      client.SetTransferCallback(callback_);
    }
    const std::ptrdiff_t allocations = LiveAllocations();
    {
      const WatchedAllocations watched(failing);
      RunInto(outcome, operation_, client, board_.ImagePath());
    }
    allocations_ = WatchedAllocations::Count();
    EXPECT_EQ(LiveAllocations(), allocations);
    EXPECT_EQ(HeldLocks(), 0);
    EXPECT_EQ(OpenDescriptorsOf(board_.ImagePath()).size(), 0U);
    EXPECT_TRUE(std::cout.good());
    board_.ExpectUsable(client, trouble);
    return outcome;
  }

  // How the run ends when all allocations go well.
  std::string OwnOutcome() const {
    return GetParam().silent_call == 0 ? operation_.outcome : GetParam().failure;
  }

  const Operation& operation_ = OperationNamed(GetParam().operation);
  std::size_t allocations_ = 0;  // of the last run

 private:
  BoardForAnOperation board_{operation_, "a_file_name_of_firmware_tv.bin"};
  // A copy of it is an allocation.
  TransferProgress callback_ = [text = std::string(100, 'x')](bool /*failed*/, double /*part*/) {};
};

TEST_P(AllocationFailureTest, WhicheverAllocationFailsTheOperationEndsWithBadAlloc) {
  OutcomeWith(0);  // what is made once in a process is made now
  ASSERT_EQ(OutcomeWith(0), OwnOutcome());
  const std::size_t count = allocations_;
  EXPECT_GE(count, GetParam().fewest);
  RecordProperty("allocations", static_cast<int>(count));
  for (std::size_t failing = 1; failing <= count; ++failing) {
    EXPECT_EQ(OutcomeWith(failing), "bad_alloc") << failing << " of " << count;
  }
  EXPECT_EQ(OutcomeWith(count + 1), OwnOutcome());
}

class UploadMemoryTest : public AllocationFailureTest {};

// So that an operation that waits for another one's end has not even read its image yet.
TEST_P(UploadMemoryTest, IsUsedUnderTheLockOnly) {
  OutcomeWith(0);  // what is made once in a process is made now
  EXPECT_EQ(OutcomeWith(0), OwnOutcome());
  EXPECT_GT(allocations_, 0U);
  EXPECT_EQ(WatchedAllocations::CountOutsideTheLock(), 0U);
}

INSTANTIATE_TEST_SUITE_P(All, AllocationFailureTest, ::testing::ValuesIn(kConsumers),
                         [](const auto& test) { return NameOf(test.param); });

std::vector<Consumer> UploadsThatGoWell() {
  std::vector<Consumer> uploads;
  std::copy_if(kConsumers.begin(), kConsumers.end(), std::back_inserter(uploads),
               [](const Consumer& consumer) {
                 return IsAnUpload(OperationNamed(consumer.operation)) && consumer.silent_call == 0;
               });
  return uploads;
}

INSTANTIATE_TEST_SUITE_P(Uploads, UploadMemoryTest, ::testing::ValuesIn(UploadsThatGoWell()),
                         [](const auto& test) { return NameOf(test.param); });

TEST(AllocationFailureTableTest, EveryOperationIsTried) {
  for (const Operation& operation : Operations()) {
    EXPECT_TRUE(std::any_of(kConsumers.begin(), kConsumers.end(), [&](const Consumer& consumer) {
      return consumer.operation == operation.name && consumer.silent_call == 0;
    })) << operation.name;
  }
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
