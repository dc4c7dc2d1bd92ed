// Proves that whichever allocation of an operation fails, in a run that goes well as in one whose
// board falls silent at some read, the operation ends with `std::bad_alloc`; that it gives all
// memory back, lets go of the mutex and of the image file; and that the client then works as
// before.
#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "client/BootLoader.h"
#include "faults/AllocationLedger.h"
#include "faults/FailingPort.h"
#include "faults/OperationCase.h"
#include "support/Files.h"
#include "support/HeldLocks.h"

namespace kvo::bootloadertms::testing {
namespace {

class AllocationFailureTest : public ::testing::TestWithParam<OperationCase> {
 protected:
  // A text of more than 15 characters is an allocation, and an upload makes some in any case.
  static bool IsToAllocate(const std::string& outcome) {
    return IsAnUpload(*GetParam().operation) ||
           outcome.size() > std::string("returns ").size() + 15;
  }

  // Runs the operation, verbose, on a board that is silent from this call of the port on, with the
  // `failing`th allocation failing, and looks at what is left over.
  std::string OutcomeWith(std::size_t failing, std::size_t silent_call) {
    const std::string& image_path = board_.GetArguments().image_path;
    PortTrouble trouble(silent_call, Failure::kSilent, true);
    std::string outcome = RoomForAnOutcome();
    const std::unique_ptr<BootLoader> client = board_.ClientWith(trouble);
    client->SetVerbose(true);
    if (IsAnUpload(*GetParam().operation)) {
      client->SetTransferCallback(callback_);
    }
    const std::ptrdiff_t allocations = LiveAllocations();
    {
      const WatchedAllocations watched(failing);
      RunInto(outcome, *GetParam().operation, board_.GetArguments(), *client);
    }
    EXPECT_EQ(LiveAllocations(), allocations);
    EXPECT_EQ(HeldLocks(), 0);
    EXPECT_EQ(OpenDescriptorsOf(image_path).size(), 0U);
    EXPECT_TRUE(std::cout.good());
    board_.ExpectUsable(*client, trouble);
    return outcome;
  }

  // Lets one allocation after the other fail until a run has none left to fail.
  void FailEachAllocation(std::size_t silent_call) {
    OutcomeWith(0, silent_call);  // what is made once in a process is made now
    PortTrouble trouble(silent_call, Failure::kSilent, true);
    const std::string expected = board_.ExpectedWith(trouble);
    std::size_t failing = 1;
    std::string outcome = OutcomeWith(failing, silent_call);
    while (WatchedAllocations::Count() >= failing && !HasFailure()) {
      EXPECT_EQ(outcome, "bad_alloc") << failing << ", silent from call " << silent_call;
      ++failing;
      outcome = OutcomeWith(failing, silent_call);
    }
    EXPECT_EQ(outcome, expected) << "silent from call " << silent_call;
    EXPECT_TRUE(failing > 1 || !IsToAllocate(expected)) << "nothing was tried";
  }

  BoardForAnOperation board_{GetParam()};

 private:
  // A copy of it is an allocation.
  TransferProgress callback_ = [text = std::string(100, 'x')](bool /*failed*/, double /*part*/) {};
};

TEST_P(AllocationFailureTest, WhicheverAllocationFailsTheOperationEndsWithBadAlloc) {
  PortTrouble no_trouble;
  board_.ExpectedWith(no_trouble);
  FailEachAllocation(0);
  for (std::size_t call = 1; call <= no_trouble.calls.size() && !HasFailure(); ++call) {
    if (std::string("BR").find(no_trouble.calls[call - 1]) != std::string::npos) {
      FailEachAllocation(call);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, AllocationFailureTest, ::testing::ValuesIn(OperationCases()),
                         [](const auto& test) { return NameOf(test.param); });

class UploadMemoryTest : public AllocationFailureTest {};

// So that an operation that waits for another one's end has not even read its image yet.
TEST_P(UploadMemoryTest, IsUsedUnderTheLockOnly) {
  OutcomeWith(0, 0);  // what is made once in a process is made now
  OutcomeWith(0, 0);
  EXPECT_GT(WatchedAllocations::Count(), 0U);
  EXPECT_EQ(WatchedAllocations::CountOutsideTheLock(), 0U);
}

std::vector<OperationCase> Uploads() {
  std::vector<OperationCase> uploads = OperationCases();
  std::erase_if(uploads, [](const OperationCase& one) { return !IsAnUpload(*one.operation); });
  return uploads;
}

INSTANTIATE_TEST_SUITE_P(All, UploadMemoryTest, ::testing::ValuesIn(Uploads()),
                         [](const auto& test) { return NameOf(test.param); });

}  // namespace
}  // namespace kvo::bootloadertms::testing
