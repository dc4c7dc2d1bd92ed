// Proves that whichever call of its port fails, once or from then on, in each way that the port's
// contract knows, an operation goes on and ends call by call as docs/protocol.md says, or waits
// where it is to wait indefinitely; that it lets go of the mutex, of all memory and of the image
// file; that the client then works as before and closes the port once; and that no upload succeeds
// unless the board has confirmed the image.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <system_error>

#include "client/BootLoader.h"
#include "faults/AllocationLedger.h"
#include "faults/FailingPort.h"
#include "faults/ObligingBoard.h"
#include "faults/OperationCase.h"
#include "support/Files.h"
#include "support/HeldLocks.h"

namespace kvo::bootloadertms::testing {
namespace {

// What an operation did at its port, and how it ended.
struct Ending {
  std::string calls;
  std::string written;
  std::string outcome;

  bool operator==(const Ending&) const = default;
};

void PrintTo(const Ending& ending, std::ostream* out) {
  const std::size_t count = ending.calls.size();
  *out << count << " calls, the last "
       << ending.calls.substr(count - std::min<std::size_t>(count, 40)) << "; " << ending.outcome;
}

class PortFailureTest : public ::testing::TestWithParam<OperationCase> {
 protected:
  // Runs the operation and looks at what is left over.
  Ending EndingWith(PortTrouble& trouble) {
    const std::string& image_path = board_.GetArguments().image_path;
    std::string outcome = RoomForAnOutcome();
    std::unique_ptr<BootLoader> client = board_.ClientWith(trouble);
    client->SetTransferCallback([&](bool /*failed*/, double /*fraction*/) {
      EXPECT_EQ(OpenDescriptorsOf(image_path).size(), 0U) << "while the image is sent";
    });
    const std::ptrdiff_t allocations = LiveAllocations();
    const int locks = LocksTaken();
    RunInto(outcome, operation_, board_.GetArguments(), *client);
    EXPECT_EQ(LiveAllocations(), allocations);
    EXPECT_EQ(LocksTaken() - locks, IsASetter(operation_) ? 0 : 1) << "held without a gap";
    EXPECT_EQ(HeldLocks(), 0);
    EXPECT_EQ(OpenDescriptorsOf(image_path).size(), 0U);
    EXPECT_TRUE(!IsAnUpload(operation_) || !outcome.starts_with("returns ") ||
                board_.HasConfirmed());
    Ending ending{trouble.calls, trouble.written, outcome};
    board_.ExpectUsable(*client, trouble);
    client.reset();
    EXPECT_EQ(trouble.closes, 1);
    EXPECT_EQ(trouble.calls_without_lock, 0);
    return ending;
  }

  // Lets the `call`th call, from 1, go wrong in one way. Returns what the operation did.
  Ending Try(std::size_t call, Failure failure, bool lasting) {
    PortTrouble trouble(call, failure, lasting);
    Ending ending = EndingWith(trouble);
    PortTrouble same_trouble(call, failure, lasting);
    const std::string outcome = board_.ExpectedWith(same_trouble);
    EXPECT_EQ(ending, (Ending{same_trouble.calls, same_trouble.written, outcome}))
        << "call " << call << ", way " << static_cast<int>(failure)
        << (lasting ? ", lasting" : ", once");
    return ending;
  }

  const Operation& operation_ = *GetParam().operation;
  BoardForAnOperation board_{GetParam()};
};

TEST_P(PortFailureTest, WhicheverCallFailsTheOperationGoesOnAndEndsAsOrdered) {
  const Ending complete = Try(0, Failure::kFails, false);
  ASSERT_TRUE(complete.outcome.starts_with("returns ")) << complete.outcome;
  ASSERT_EQ(complete.calls.empty(), IsASetter(operation_));

  for (std::size_t call = 1; call <= complete.calls.size() && !HasFailure(); ++call) {
    Try(call, Failure::kFails, false);
    Try(call, Failure::kFails, true);
    Try(call, Failure::kClosed, true);
    if (std::string("BR").find(complete.calls[call - 1]) != std::string::npos) {
      Try(call, Failure::kSilent, false);
      Try(call, Failure::kSilent, true);
    }
  }
}

// Before anything is done: the upload's image needn't be there.
TEST_P(PortFailureTest, AMutexThatCannotBeLockedIsTheStandardSystemError) {
  PortTrouble no_trouble;
  const std::unique_ptr<BootLoader> client = board_.ClientWith(no_trouble);
  std::string outcome = RoomForAnOutcome();
  {
    const FailingLocks failing(EAGAIN);
    RunInto(outcome, operation_, {0, "no such file_tv.bin", ""}, *client);
  }
  EXPECT_EQ(outcome, IsASetter(operation_) ? "returns " : "system_error EAGAIN");
  EXPECT_EQ(no_trouble.calls, "");
  board_.ExpectUsable(*client, no_trouble);
}

INSTANTIATE_TEST_SUITE_P(All, PortFailureTest, ::testing::ValuesIn(OperationCases()),
                         [](const auto& test) { return NameOf(test.param); });

// The port that product and model share in the sweep, as the contract has it.
class FailingPortTest : public ::testing::Test {
 protected:
  ObligingBoard board_{ObligingBoard::Program::kBootloader};
  std::string data_ = "former content";
};

TEST_F(FailingPortTest, FailsOnceAndKeepsTheAnswer) {
  PortTrouble trouble(2);
  FailingPort port(board_, trouble);
  port.WriteByte('0');
  EXPECT_EQ(port.ReadByte(), 0xFF);
  EXPECT_EQ(port.ReadByte(), 'A');
  EXPECT_EQ(trouble.calls, "WBB");
  EXPECT_EQ(trouble.calls_without_lock, 3);
}

TEST_F(FailingPortTest, FailsInEachWay) {
  PortTrouble failing(1, Failure::kFails, true);
  FailingPort port(board_, failing);
  EXPECT_THROW(port.WriteByte('0'), std::system_error);
  EXPECT_THROW(port.Read(data_), std::system_error);
  EXPECT_EQ(port.ReadByte(), 0xFF);
  EXPECT_EQ(port.FlushInput(), -1);
  EXPECT_EQ(failing.written, "");

  PortTrouble closed(1, Failure::kClosed, true);
  FailingPort closed_port(board_, closed);
  EXPECT_THROW(closed_port.WriteByte('0'), std::runtime_error);
  EXPECT_THROW(closed_port.ReadByte(), std::runtime_error);

  PortTrouble silent(1, Failure::kSilent, true);
  FailingPort silent_port(board_, silent);
  silent_port.WriteByte('0');
  EXPECT_TRUE(board_.HasAnswer());
  EXPECT_EQ(silent_port.ReadByte(), 0x00);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
