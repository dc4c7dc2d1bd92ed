// What is done with one board to flash it, and what is said of it when that fails.
#include <gtest/gtest.h>
#include <kvo/bootloadertms/BootLoader.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "boards/Tasks.h"
#include "boards/ports/BoardPort.h"
#include "support/FakeTime.h"
#include "support/Files.h"
#include "support/Output.h"
#include "unit/boards/AnsweringPort.h"

namespace kvo::boards::testing {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using bootloadertms::testing::FakeTime;
using bootloadertms::testing::SilencedOutput;
using bootloadertms::testing::TemporaryFolder;

constexpr std::size_t kThreeBlocks = 2049;  // bytes
const std::string kApplicationAnswers = "ping_callback_function\r\n\0"s;
// Bootloader, first C, packet 0, three blocks, EOT, next file, closing packet, verdict.
const std::string kAllIsWell =
    "AC\x06"
    "C\x06\x06\x06\x06"
    "C\x06O";

class FlashTest : public ::testing::Test {
 protected:
  FlashTest() { PlanImage(kThreeBlocks); }

  void PlanImage(std::size_t length) {
    plan_.command_line.image = folder_.WriteFile("fw_tv.bin", std::string(length, '\x04'));
    plan_.bytes = length;
    plan_.image_written = std::filesystem::last_write_time(plan_.command_line.image);
  }

  Event FlashWith(AnsweringPort& port, bool is_repeated = false) {
    TransferWatch watch(
        port, plan_.bytes, [&port] { return port.has_read; },
        [&] { sent_of_image_.push_back(watch.GetPosition().bytes_sent); });
    bootloadertms::BootLoader client(
        std::make_unique<PortDecorator>(static_cast<bootloadertms::ISerialPort&>(watch)));
    return Flash(plan_, is_repeated, 200ms, client, watch, [this](const Event& event) {
      EXPECT_EQ(event.kind, EventKind::kStep);
      steps_.push_back(event.step);
    });
  }

  TemporaryFolder folder_;
  Plan plan_;
  std::vector<Step> steps_;
  std::vector<std::uint64_t> sent_of_image_;
  SilencedOutput silence_;
  FakeTime time_{[](std::chrono::nanoseconds asked) { return asked; }};
};

TEST_F(FlashTest, AGoodBoardGetsItsImageAndItsApplicationRuns) {
  AnsweringPort port(kAllIsWell, {kApplicationAnswers});
  const Event end = FlashWith(port);
  EXPECT_EQ(end.kind, EventKind::kFinished);
  EXPECT_EQ(end.outcome, Outcome::kFlashed);
  EXPECT_EQ(end.block, 3U);
  EXPECT_EQ(end.blocks, 3U);
  EXPECT_EQ(end.bytes_sent, 2049U);
  EXPECT_EQ(steps_, (std::vector<Step>{Step::kSwitching, Step::kTransfer, Step::kStarting}));
  EXPECT_EQ(sent_of_image_, (std::vector<std::uint64_t>{1024, 2048, 2049}));
  EXPECT_EQ(port.sent.substr(0, 5),
            "Q\x18\x18"
            "01");
  EXPECT_EQ(port.sent.substr(port.sent.size() - 2), "60");
  EXPECT_EQ(port.sent.size(), 5U + 133 + 3 * 1029 + 1 + 133 + 2);
}

TEST_F(FlashTest, NeitherSwitchNorStartWhenToldSo) {
  plan_.command_line.switch_to_bootloader = false;
  plan_.command_line.start_application = false;
  AnsweringPort port(kAllIsWell);
  EXPECT_EQ(FlashWith(port).outcome, Outcome::kFlashed);
  EXPECT_EQ(port.sent.substr(0, 2), "01");
  EXPECT_EQ(port.sent.size(), 2U + 133 + 3 * 1029 + 1 + 133);
}

TEST_F(FlashTest, ARecordDescribesTheImage) {
  plan_.command_line.record = {"A", "B", "C"};
  AnsweringPort port(kAllIsWell, {kApplicationAnswers});
  EXPECT_EQ(FlashWith(port).outcome, Outcome::kFlashed);
  EXPECT_EQ(port.sent.substr(5 + 3 + 17, 7), "A|B|C|\0"s);
}

TEST_F(FlashTest, TheTransferTimeIsThatFromTheFirstBlockToTheVerdict) {
  class SlowPort : public AnsweringPort {
   public:
    using AnsweringPort::AnsweringPort;
    std::uint8_t ReadByte() override {
      FakeTime::Current()->Sleep(1s);
      return AnsweringPort::ReadByte();
    }
  };
  SlowPort port(kAllIsWell, {kApplicationAnswers});
  // Three blocks, EOT, the next file, the closing packet and the verdict.
  EXPECT_DOUBLE_EQ(FlashWith(port).transfer_seconds, 7.0);
}

TEST_F(FlashTest, ABootloaderThatDoesNotAnswerIsCalledOnceThreeTimesWhenRepeated) {
  const std::string call =
      "Q\x18\x18"
      "000000000";
  AnsweringPort first;
  FlashWith(first);
  EXPECT_EQ(first.sent, call);
  AnsweringPort repeated;
  FlashWith(repeated, /*is_repeated=*/true);
  EXPECT_EQ(repeated.sent, call + call + call);
}

TEST_F(FlashTest, ARepeatedAttemptCallsABoardThatStillWaitsForTheRest) {
  AnsweringPort first("---------" + kAllIsWell, {kApplicationAnswers});
  EXPECT_EQ(FlashWith(first, /*is_repeated=*/true).outcome, Outcome::kFlashed);
  AnsweringPort third(
      "---------"
      "---------" +
          kAllIsWell,
      {kApplicationAnswers});
  EXPECT_EQ(FlashWith(third, /*is_repeated=*/true).outcome, Outcome::kFlashed);
}

TEST_F(FlashTest, ARepeatedAttemptEndsTheFormerTransferAlsoWithoutASwitch) {
  plan_.command_line.switch_to_bootloader = false;
  AnsweringPort port(kAllIsWell, {kApplicationAnswers});
  EXPECT_EQ(FlashWith(port, /*is_repeated=*/true).outcome, Outcome::kFlashed);
  EXPECT_EQ(port.sent.substr(0, 4),
            "\x18\x18"
            "01");
}

// tests/faults has what fails in the transfer.
TEST_F(FlashTest, WithoutABootloaderNothingButPingsIsSent) {
  plan_.command_line.switch_to_bootloader = false;
  AnsweringPort port;
  const Event end = FlashWith(port);
  EXPECT_EQ(end.reason, Reason::kSilent);
  EXPECT_EQ(end.Text(), "no bootloader answers: nothing of the image was sent");
  EXPECT_EQ(port.sent, "000000000");
}

TEST_F(FlashTest, AnApplicationThatDoesNotAnswerLeavesTheBoardFlashed) {
  AnsweringPort port(kAllIsWell);
  const Event end = FlashWith(port);
  EXPECT_EQ(end.reason, Reason::kNotStarted);
  EXPECT_EQ(end.Text(), "flashed, but the application doesn't answer");
  EXPECT_EQ(end.bytes_sent, 2049U);
  EXPECT_NE(end.step, Step::kTransfer);
}

TEST_F(FlashTest, ABoardMayLeaveTheClosingPacketUnansweredForSomeSecondsEachTime) {
  AnsweringPort port(
      "AC\x06"
      "C\x06\x06\x06\x06"
      "C------------------------\x15------------------------\x06O",
      {kApplicationAnswers});
  EXPECT_EQ(FlashWith(port).outcome, Outcome::kFlashed);
}

TEST_F(FlashTest, AClosingPacketIsWaitedForFiveSeconds) {
  AnsweringPort port(
      "AC\x06"
      "C\x06\x06\x06\x06"
      "C-------------------------\x06O",
      {kApplicationAnswers});
  EXPECT_EQ(FlashWith(port).reason, Reason::kBroken);
}

TEST_F(FlashTest, AClosingPacketThatIsAskedForAgainIsSentAgain) {
  AnsweringPort port(
      "AC\x06"
      "C\x06\x06\x06\x06"
      "CUUUUUUUUU\x15\x15\x15\x15\x15\x15\x15\x15\x15\x15"
      "CCCCCCCCCC\x06O",
      {kApplicationAnswers});
  EXPECT_EQ(FlashWith(port).outcome, Outcome::kFlashed);
}

TEST_F(FlashTest, BlocksAreCountedBeyondTheirNumbersByte) {
  constexpr std::uint32_t kBlocks = 300;
  PlanImage(std::size_t{kBlocks} * 1024);
  AnsweringPort port(
      "AC\x06"
      "C" +
      std::string(260, '\x06') + "U");
  const Event end = FlashWith(port);
  EXPECT_EQ(end.block, 261U);
  EXPECT_EQ(end.blocks, 300U);
}

TEST_F(FlashTest, AnotherImageThanTheOneThatWasCheckedIsNotSent) {
  const std::string& image = plan_.command_line.image;
  const std::vector<std::function<void()>> changes = {
      [&] { std::filesystem::resize_file(image, kThreeBlocks + 1); },
      [&] {
        PlanImage(kThreeBlocks);
        std::filesystem::last_write_time(image, plan_.image_written + 1s);
      },
      [&] { std::filesystem::remove(image); }};
  for (const auto& change : changes) {
    change();
    AnsweringPort port("A");
    const Event end = FlashWith(port);
    EXPECT_EQ(end.reason, Reason::kBroken);
    EXPECT_EQ(end.Text(),
              "the image has changed since it was checked before block 1 of 3: the board "
              "was left in its bootloader, flash it again");
    EXPECT_EQ(port.sent,
              "Q\x18\x18"
              "0");
  }
}

template <typename Failure>
class FailingFlush : public AnsweringPort {
 public:
  explicit FailingFlush(const Failure& failure) : failure_(failure) {}
  int FlushInput() override { throw failure_; }

 private:
  Failure failure_;
};

TEST_F(FlashTest, APortsFailuresPassThrough) {
  FailingFlush lost(PortFailure(Reason::kLost, "the port is gone"));
  EXPECT_THROW(FlashWith(lost), PortFailure);
  FailingFlush failing(std::system_error(std::make_error_code(std::errc::no_lock_available)));
  EXPECT_THROW(FlashWith(failing), std::system_error);
}

TEST_F(FlashTest, AByteOfATransferThatIsNoPacketChangesNothing) {
  AnsweringPort port;
  TransferWatch watch(
      port, plan_.bytes, [] { return true; }, [] {});
  watch.WriteByte('1');
  watch.WriteByte('x');
  watch.WriteByte('\x02');
  watch.WriteByte('\x01');
  EXPECT_EQ(watch.GetPosition().block, 1U);
  EXPECT_EQ(port.sent, "1x\x02\x01");
}

}  // namespace
}  // namespace kvo::boards::testing
