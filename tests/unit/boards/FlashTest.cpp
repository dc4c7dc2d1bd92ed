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
    plan_.command_line.image = folder_.WriteFile("fw_tv.bin", std::string(length, 'x'));
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

struct Failure {
  std::string name;
  std::string answers;
  Reason reason;
  std::uint32_t block;
  bool in_transfer;
  // After the transfer's last packet or EOT, from the library and from here.
  std::string last_sent;
  std::string message;
};

class FailedFlashTest : public FlashTest, public ::testing::WithParamInterface<Failure> {};

TEST_P(FailedFlashTest, IsToldWithItsReasonAndPlace) {
  const Failure& row = GetParam();
  AnsweringPort port(row.answers);
  const Event end = FlashWith(port);
  EXPECT_EQ(end.outcome, Outcome::kFailed);
  EXPECT_EQ(NameOf(end.reason), NameOf(row.reason));
  EXPECT_EQ(end.block, row.block);
  EXPECT_EQ(end.blocks, 3U);
  EXPECT_EQ(end.step == Step::kTransfer, row.in_transfer);
  EXPECT_EQ(end.Text(), row.message);
  const std::size_t length = std::max<std::size_t>(row.last_sent.size(), 1);
  EXPECT_EQ(port.sent.substr(port.sent.size() - length).ends_with(row.last_sent), true);
  const std::size_t cans = port.sent.size() - 1 - port.sent.find_last_not_of('\x18');
  EXPECT_EQ(cans, row.last_sent == "\x18\x18" ? 2U : 0U);
}

const std::string kFlashAgain = ": the board has no valid application, flash it again";
const std::string kInBootloader =
    " before block 1 of 3: the board was left in its bootloader, flash it again";
const std::string kRefusal =
    "the bootloader refuses the image: it is for another board or application";

INSTANTIATE_TEST_SUITE_P(
    AtEachPlace, FailedFlashTest,
    ::testing::Values(
        Failure{"NoBootloader", "", Reason::kSilent, 0, false, "0",
                "no bootloader answers: nothing of the image was sent"},
        Failure{"CannotReceive", "AF", Reason::kRefused, 0, false, "1",
                "the bootloader can't receive an image (it says F)"},
        Failure{"PacketZeroCancelled", "AC\x18", Reason::kRefused, 0, false, "\x18\x18", kRefusal},
        Failure{"PacketZeroRefused", "AC\x15", Reason::kRefused, 0, false, "\x18\x18", kRefusal},
        Failure{"PacketZeroUnanswered", "AC-", Reason::kBroken, 0, true, "\x18\x18",
                "no answer within 200 ms" + kInBootloader},
        Failure{"PacketZeroAskedForAgainAndAgain", "ACCC", Reason::kBroken, 0, true, "\x18\x18",
                "a wrong answer (0x43)" + kInBootloader},
        Failure{"BlockUnanswered",
                "AC\x06"
                "C\x06-",
                Reason::kBroken, 2, true, "\x18\x18",
                "no answer within 200 ms at block 2 of 3" + kFlashAgain},
        Failure{"BlockAnsweredByZero",
                "AC\x06"
                "C\x06\0"s,
                Reason::kBroken, 2, true, "\x18\x18",
                "a wrong answer (0x00) at block 2 of 3" + kFlashAgain},
        Failure{"BlockAnsweredWronglyAfterAResend",
                "AC\x06"
                "C\x06\x15\x15U",
                Reason::kBroken, 2, true, "\x18\x18",
                "a wrong answer (0x55) at block 2 of 3" + kFlashAgain},
        Failure{"BlockCancelled",
                "AC\x06"
                "C\x06\x06\x18",
                Reason::kBroken, 3, true, "",
                "the board ended the transfer at block 3 of 3" + kFlashAgain},
        Failure{"EndUnanswered",
                "AC\x06"
                "C\x06\x06\x06-",
                Reason::kBroken, 3, true, "\x18\x18",
                "no answer within 200 ms at block 3 of 3" + kFlashAgain},
        Failure{"ClosingPacketCancelled",
                "AC\x06"
                "C\x06\x06\x06\x06"
                "C\x18",
                Reason::kBroken, 3, true, "",
                "the board ended the transfer at block 3 of 3" + kFlashAgain},
        Failure{"ClosingPacketAnsweredWronglyTenTimes",
                "AC\x06"
                "C\x06\x06\x06\x06"
                "CUUUUUUUUUU\x06O",
                Reason::kBroken, 3, true, "\x18\x18",
                "a wrong answer (0x55) at block 3 of 3" + kFlashAgain},
        Failure{"ClosingPacketNeverAnswered",
                "AC\x06"
                "C\x06\x06\x06\x06"
                "C",
                Reason::kBroken, 3, true, "\x18\x18",
                "no answer within 200 ms at block 3 of 3" + kFlashAgain},
        Failure{"VerdictMissing",
                "AC\x06"
                "C\x06\x06\x06\x06"
                "C\x06",
                Reason::kBroken, 3, true, "\x18\x18",
                "no answer within 200 ms at block 3 of 3" + kFlashAgain},
        Failure{"VerdictMissingWithoutAClosingPacket",
                "AC\x06"
                "C\x06\x06\x06\x06-",
                Reason::kBroken, 3, true, "\x18\x18",
                "no answer within 200 ms at block 3 of 3" + kFlashAgain},
        Failure{"Rejected",
                "AC\x06"
                "C\x06\x06\x06\x06"
                "C\x06o",
                Reason::kRejected, 3, false, "",
                "the bootloader rejects the image that it has received (0x6F)" + kFlashAgain},
        Failure{"NotStarted", kAllIsWell, Reason::kNotStarted, 3, false, "0",
                "flashed, but the application doesn't answer"}),
    [](const auto& row) { return row.param.name; });

TEST_F(FlashTest, ABoardMayLeaveTheClosingPacketUnansweredForSomeSecondsEachTime) {
  AnsweringPort port(
      "AC\x06"
      "C\x06\x06\x06\x06"
      "C------------------------\x15------------------------\x06O",
      {kApplicationAnswers});
  EXPECT_EQ(FlashWith(port).outcome, Outcome::kFlashed);
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
  EXPECT_EQ(FlashWith(port).block, 261U);
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

TEST_F(FlashTest, APortThatIsLostPassesThrough) {
  class LostPort : public AnsweringPort {
   public:
    using AnsweringPort::AnsweringPort;
    int FlushInput() override { throw PortFailure(Reason::kLost, "the port is gone"); }
  };
  LostPort port;
  EXPECT_THROW(FlashWith(port), PortFailure);
}

}  // namespace
}  // namespace kvo::boards::testing
