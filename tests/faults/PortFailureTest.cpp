// Proves that whichever call of its port fails, once or from then on, in each way that the port's
// contract knows, an operation ends as IBootLoader.h says or waits where it is to wait for ever;
// that it lets go of the mutex, of all memory and of the image file; that the client then works as
// before and closes the port once; and that no upload succeeds unless the board has confirmed the
// image.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <ostream>
#include <stdexcept>
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

void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

namespace {

const std::string kPortsError = "system_error EFAULT";
const std::string kNotOpen = "runtime_error Called but state != open. Call open() first";
const std::string kTransmitFailed = "runtime_error !!! YModem transmit failed. Exiting";
const std::string kRefused = "runtime_error !!! YModem transfer on boot loader failed. Exiting";
const std::string kNoBootloader = "runtime_error Bootloader doesn't respond. Exiting";
const std::string kNoApplication = "runtime_error Application doesn't respond. Exiting";
const std::string kNoBootStatus =
    "runtime_error Application doesn't respond or boot status command not implemented !";
const std::string kInvalidForBootloader =
    "runtime_error Invalid response (bootloader is probably not activated or command is not "
    "implemented). Exiting";
const std::string kInvalidForApplication =
    "runtime_error Invalid response (application is probably not activated or command is not "
    "implemented). Exiting";
const std::string kDone = "returns ";
// Waits without a limit.
const std::string kWaitsForStart = "still waiting, reads byte after byte";
const std::string kRepeatsClosing = "still waiting, repeats the closing packet";

// How the operation ends when one of its reads doesn't bring the answer, which stays to be read.
struct FailedRead {
  int read;                // from 1
  std::string fails_once;  // the read fails: 0xFF; of no meaning for `Read`, which throws
  std::string fails_lastingly;
  std::string silent_once;  // nothing comes in time
  std::string silent_lastingly;
};

using FailedReads = std::vector<FailedRead>;

// A failed read is the byte 0xFF and no error, so a lasting failure is told by the next write.
const FailedReads kOfUploadOfNoBlocks = {
    {1, kDone, kWaitsForStart, kDone, kWaitsForStart},
    {2, kTransmitFailed, kPortsError, kTransmitFailed, kTransmitFailed},
    {3, kRefused, kPortsError, kRefused, kTransmitFailed},
    {4, kTransmitFailed, kTransmitFailed, kTransmitFailed, kTransmitFailed},
    {5, kRefused, kRefused, kRefused, kRefused},
    {6, kDone, kPortsError, kDone, kRepeatsClosing},
    {7, kRefused, kRefused, kRefused, kRefused},
};
const FailedReads kOfUploadOfOneBlock = {
    {1, kDone, kWaitsForStart, kDone, kWaitsForStart},
    {2, kTransmitFailed, kPortsError, kTransmitFailed, kTransmitFailed},
    {3, kTransmitFailed, kPortsError, kTransmitFailed, kTransmitFailed},
    {4, kTransmitFailed, kTransmitFailed, kTransmitFailed, kTransmitFailed},
    {5, kTransmitFailed, kTransmitFailed, kTransmitFailed, kTransmitFailed},
    {6, kRefused, kRefused, kRefused, kRefused},
    {7, kDone, kPortsError, kDone, kRepeatsClosing},
    {8, kRefused, kRefused, kRefused, kRefused},
};
const FailedReads kOfUploadOfThreeBlocks = {
    {1, kDone, kWaitsForStart, kDone, kWaitsForStart},
    {2, kTransmitFailed, kPortsError, kTransmitFailed, kTransmitFailed},
    {3, kRefused, kPortsError, kRefused, kTransmitFailed},
    {4, kTransmitFailed, kTransmitFailed, kTransmitFailed, kTransmitFailed},
    {5, kTransmitFailed, kTransmitFailed, kTransmitFailed, kTransmitFailed},
    {6, kTransmitFailed, kTransmitFailed, kTransmitFailed, kTransmitFailed},
    {7, kTransmitFailed, kTransmitFailed, kTransmitFailed, kTransmitFailed},
    {8, kRefused, kRefused, kRefused, kRefused},
    {9, kDone, kPortsError, kDone, kRepeatsClosing},
    {10, kRefused, kRefused, kRefused, kRefused},
};

// An answer that comes late is taken for that to the next question.
const FailedReads kOfBootloaderInfos = {
    {1, "", "",
     "returns /s of a bootloader/h of a bootloader/p of a bootloader/V of a bootloader/BL_OK/",
     "returns /////BL_OK/"},
    {2, "", "",
     "returns s of a bootloader//h of a bootloader/p of a bootloader/V of a bootloader/BL_OK/",
     "returns s of a bootloader/////BL_OK/"},
    {3, "", "",
     "returns s of a bootloader/h of a bootloader//p of a bootloader/V of a bootloader/BL_OK/",
     "returns s of a bootloader/h of a bootloader////BL_OK/"},
    {4, "", "",
     "returns s of a bootloader/h of a bootloader/p of a bootloader//V of a bootloader/BL_OK/",
     "returns s of a bootloader/h of a bootloader/p of a bootloader///BL_OK/"},
    {5, "", "",
     "returns s of a bootloader/h of a bootloader/p of a bootloader/V of a bootloader//BL_OK/",
     "returns s of a bootloader/h of a bootloader/p of a bootloader/V of a bootloader//BL_OK/"},
};
const FailedReads kOfApplicationInfos = {
    {1, "", "", kNoBootStatus, kNoBootStatus},
    {2, "", "",
     "returns /s of an application/h of an application/p of an application/V of an "
     "application/the boot was safe/",
     "returns /////the boot was safe/"},
    {3, "", "",
     "returns s of an application//h of an application/p of an application/V of an "
     "application/the boot was safe/",
     "returns s of an application/////the boot was safe/"},
    {4, "", "",
     "returns s of an application/h of an application//p of an application/V of an "
     "application/the boot was safe/",
     "returns s of an application/h of an application////the boot was safe/"},
    {5, "", "",
     "returns s of an application/h of an application/p of an application//V of an "
     "application/the boot was safe/",
     "returns s of an application/h of an application/p of an application///the boot was safe/"},
    {6, "", "",
     "returns s of an application/h of an application/p of an application/V of an "
     "application//the boot was safe/",
     "returns s of an application/h of an application/p of an application/V of an "
     "application//the boot was safe/"},
};

struct Expectation {
  std::string operation;
  FailedReads failed_reads;
  int cases;  // that an operation with these calls has
};

const std::vector<Expectation> kExpectations = {
    {"PingBootloader", {{1, "returns 8", kPortsError, "returns 8", "returns 0"}}, 11},
    {"PingApplication", {{1, "", "", "returns 84", "returns 0"}}, 11},
    {"Calibrate",
     {{1, "", "", "returns 0", "returns 0"},
      {2, "", "", "returns 1", "returns 0"},
      {3, "", "", "returns 1", "returns 0"}},
     21},
    {"ActivateBootloader", {{1, kDone, kPortsError, kDone, kNoBootloader}}, 23},
    {"ActivateApplication", {{1, "", "", kDone, kNoApplication}}, 17},
    {"SendBootloaderCommand", {{1, "", "", kInvalidForBootloader, kInvalidForBootloader}}, 11},
    {"SendApplicationCommand", {{1, "", "", kInvalidForApplication, kInvalidForApplication}}, 11},
    {"UploadOfNoBlocks", kOfUploadOfNoBlocks, 839},
    {"UploadOfOneBlock", kOfUploadOfOneBlock, 3931},
    {"UploadOfThreeBlocks", kOfUploadOfThreeBlocks, 10115},
    {"UploadWithInfosOfNoBlocks", kOfUploadOfNoBlocks, 839},
    {"UploadWithInfosOfOneBlock", kOfUploadOfOneBlock, 3931},
    {"UploadWithInfosOfThreeBlocks", kOfUploadOfThreeBlocks, 10115},
    {"SetVerbose", {}, 0},
    {"SetTransferCallback", {}, 0},
    {"ReadBootloaderInfos", kOfBootloaderInfos, 43},
    {"ReadApplicationInfos", kOfApplicationInfos, 51},
    {"RestoreDefaultParameters", {}, 21},
    {"SendCharacter", {{1, "", "", "returns ", "returns "}}, 11},
};

const Expectation& ExpectationOf(const Operation& operation) {
  for (const Expectation& expectation : kExpectations) {
    if (expectation.operation == operation.name) {
      return expectation;
    }
  }
  throw std::logic_error("nothing is expected of " + operation.name);
}

// "W 2B" for "WBB".
std::string InShort(const std::string& calls) {
  std::string text;
  for (std::size_t start = 0; start < calls.size();) {
    const std::size_t end = std::min(calls.find_first_not_of(calls[start], start), calls.size());
    text += text.empty() ? "" : " ";
    text += end - start == 1 ? "" : std::to_string(end - start);
    text += calls[start];
    start = end;
  }
  return text;
}

// Where a run waits that was ended from outside.
std::string WaitingPlace(const PortTrouble& trouble) {
  if (trouble.calls.ends_with(std::string(400, 'B'))) {
    return "reads byte after byte";
  }
  // The packet may have been going out when the run was ended.
  const std::size_t last_read = trouble.calls.rfind('B');
  const std::size_t writes_behind = trouble.calls.size() - 1 - last_read;
  const std::string written = trouble.written.substr(0, trouble.written.size() - writes_behind + 1);
  const std::string round = std::string(133, 'W') + "B";
  const std::string packet = std::string("\x01\x00\xFF", 3) + std::string(130, '\0');
  const bool repeats = trouble.calls.substr(0, last_read + 1).ends_with(round + round + round) &&
                       written.ends_with(packet + packet + packet);
  return repeats ? "repeats the closing packet" : "at an unknown place";
}

bool IsARead(char call) { return call == 'B' || call == 'R'; }

struct Ending {
  std::string calls;
  std::string outcome;
};

class PortFailureTest : public ::testing::TestWithParam<Operation> {
 protected:
  // Runs the operation and looks at what is left behind.
  Ending EndingWith(PortTrouble& trouble) {
    board_.Restart();
    std::string outcome = RoomForAnOutcome();
    auto client =
        std::make_unique<BootLoader>(std::make_unique<FailingPort>(board_.Board(), trouble));
    client->SetTransferCallback([this](bool /*failed*/, double /*fraction*/) {
      EXPECT_EQ(OpenDescriptorsOf(board_.ImagePath()).size(), 0U) << "while the image is sent";
    });
    const std::ptrdiff_t allocations = LiveAllocations();
    const int locks = LocksTaken();
    RunInto(outcome, GetParam(), *client, board_.ImagePath());
    EXPECT_EQ(LiveAllocations(), allocations);
    EXPECT_EQ(LocksTaken() - locks, IsASetter(GetParam()) ? 0 : 1) << "held without a gap";
    EXPECT_EQ(HeldLocks(), 0);
    EXPECT_EQ(OpenDescriptorsOf(board_.ImagePath()).size(), 0U);
    EXPECT_TRUE(!IsAnUpload(GetParam()) || !outcome.starts_with("returns ") ||
                board_.Board().HasConfirmed());
    if (outcome == "still waiting") {
      outcome += ", " + WaitingPlace(trouble);
    }
    const std::string calls = trouble.calls;
    board_.ExpectUsable(*client, trouble);
    client.reset();
    EXPECT_EQ(trouble.closes, 1);
    EXPECT_EQ(trouble.calls_without_lock, 0);
    return {calls, outcome};
  }

  // How the run must end in which the `call`th of `calls`, counted from 0, goes wrong.
  static std::string Expected(const std::string& calls, std::size_t call, Failure failure,
                              bool lasting) {
    if (failure == Failure::kClosed) {
      // Nobody looks at the result of discarding input; the call behind it throws.
      return calls.at(calls.find_first_not_of('F', call)) == 'R' ? kPortsError : kNotOpen;
    }
    if (failure == Failure::kFails && calls.at(call) == 'F' && !lasting) {
      return GetParam().outcome;
    }
    if (failure == Failure::kFails && calls.at(call) != 'B') {
      return kPortsError;
    }
    const FailedRead& read = FailedReadAt(calls, call);
    if (failure == Failure::kFails) {
      return lasting ? read.fails_lastingly : read.fails_once;
    }
    return lasting ? read.silent_lastingly : read.silent_once;
  }

  // Lets the `call`th of `calls`, counted from 0, go wrong in one way.
  void Try(const std::string& calls, std::size_t call, Failure failure, bool lasting) {
    PortTrouble trouble(call + 1, failure, lasting);
    EXPECT_EQ(EndingWith(trouble).outcome, Expected(calls, call, failure, lasting))
        << "call " << call + 1 << ", " << calls[call] << ", way " << static_cast<int>(failure)
        << (lasting ? ", lasting" : ", once");
    ++cases_;
  }

  BoardForAnOperation board_{GetParam(), "firmware_tv.bin"};
  int cases_ = 0;

 private:
  static const FailedRead& FailedReadAt(const std::string& calls, std::size_t call) {
    const auto behind = calls.begin() + static_cast<std::ptrdiff_t>(call) + 1;
    const auto number = std::count_if(calls.begin(), behind, IsARead);
    const FailedReads& reads = ExpectationOf(GetParam()).failed_reads;
    const auto read = std::find_if(reads.begin(), reads.end(),
                                   [number](const FailedRead& one) { return one.read == number; });
    if (read == reads.end()) {
      throw std::logic_error("nothing is expected of read " + std::to_string(number));
    }
    return *read;
  }
};

TEST_P(PortFailureTest, WhicheverCallFailsTheOperationEndsAsOrdered) {
  PortTrouble no_trouble;
  const Ending complete = EndingWith(no_trouble);
  ASSERT_EQ(complete.outcome, GetParam().outcome);
  ASSERT_EQ(InShort(complete.calls), GetParam().calls);

  const std::string& calls = complete.calls;
  for (std::size_t call = 0; call < calls.size() && !HasFailure(); ++call) {
    Try(calls, call, Failure::kFails, false);
    Try(calls, call, Failure::kFails, true);
    Try(calls, call, Failure::kClosed, true);
    if (IsARead(calls[call])) {
      Try(calls, call, Failure::kSilent, false);
      Try(calls, call, Failure::kSilent, true);
    }
  }
  EXPECT_EQ(cases_, ExpectationOf(GetParam()).cases);
}

// Before anything is done: the upload's image needn't be there.
TEST_P(PortFailureTest, AMutexThatCannotBeLockedIsTheStandardSystemError) {
  PortTrouble no_trouble;
  BootLoader client(std::make_unique<FailingPort>(board_.Board(), no_trouble));
  std::string outcome = RoomForAnOutcome();
  {
    const FailingLocks failing(EAGAIN);
    RunInto(outcome, GetParam(), client, "no such file_tv.bin");
  }
  EXPECT_EQ(outcome, IsASetter(GetParam()) ? "returns " : "system_error EAGAIN");
  EXPECT_EQ(no_trouble.calls, "");
  board_.ExpectUsable(client, no_trouble);
}

INSTANTIATE_TEST_SUITE_P(All, PortFailureTest, ::testing::ValuesIn(Operations()),
                         [](const auto& test) { return test.param.name; });

// A port that can't be closed.
class StuckPort : public ObligingBoard {
 public:
  StuckPort() : ObligingBoard(Program::kBootloader) {}
  int Close() override {
    throw std::runtime_error("Tried to close serial port X, but close() failed.");
  }
};

TEST(PortFailureDeathTest, AFailedCloseInTheDestructorEndsTheProgram) {
  EXPECT_DEATH({ const BootLoader client(std::make_unique<StuckPort>()); }, "terminate called");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
