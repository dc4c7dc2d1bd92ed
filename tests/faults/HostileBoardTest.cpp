// Proves that each answer of a board that kvo-boards flashes may be any byte, once or from there
// on, or be missing, late, or come twice: what goes over the line, and what is told of it, is what
// docs/protocol.md and the manual say.
#include <gtest/gtest.h>
#include <kvo/bootloadertms/BootLoader.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "boards/Tasks.h"
#include "boards/TransferWatch.h"
#include "faults/FaultyLine.h"
#include "faults/ObligingBoard.h"
#include "support/FakeTime.h"
#include "support/Files.h"
#include "support/Output.h"
#include "tables/TransferModel.h"

namespace kvo::boards::testing {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using namespace bootloadertms::testing;
using State = TransferModel::State;
using Kind = Fault::Kind;

constexpr std::uint64_t kTwoBlocks = 1500;  // bytes
const std::string kRightAnswers = "C\x06\x43\x06\x06\x06\x43\x06O";

// The board's line: what is spoilt is the transfer. The bootloader before it and the application
// after it do all as they should. An answer that comes takes nearly as long as it may.
class LineToABoard : public PortDecorator {
 public:
  LineToABoard(FaultyLine& line, const TransferModel& model)
      : PortDecorator(line), line_(line), model_(model) {}

  void WriteByte(std::uint8_t byte) override {
    has_begun_ = has_begun_ || byte == '1';
    if (IsInTransfer()) {
      PortDecorator::WriteByte(byte);
    } else {
      sent_outside_ += static_cast<char>(byte);
    }
  }

  std::uint8_t ReadByte() override {
    if (!has_begun_) {
      has_read_ = true;
      return 'A';
    }
    state_before_ = model_.GetState();
    const std::uint8_t byte = PortDecorator::ReadByte();
    has_read_ = line_.HasRead();
    answer_ = has_read_ ? std::optional(byte) : std::nullopt;
    accepted_blocks_ += state_before_ == State::kBlock && answer_ == 0x06 ? 1U : 0U;
    FakeTime::Current()->Sleep(has_read_ ? TransferModel::kAnswerTimeout - 1ms
                                         : TransferModel::kAnswerTimeout);
    return byte;
  }

  void Read(std::string& data) override {
    if (IsInTransfer()) {
      PortDecorator::Read(data);
    }
    data = "ping_callback_function\r\n\0"s;
  }

  int FlushInput() override { return IsInTransfer() ? PortDecorator::FlushInput() : 0; }

  bool HasRead() const { return has_read_; }
  const std::string& SentOutside() const { return sent_outside_; }
  // The transfer's last answer, and what the model waited for then.
  std::optional<std::uint8_t> Answer() const { return answer_; }
  State StateBefore() const { return state_before_; }

  std::uint64_t AcceptedBytes() const {
    return std::min<std::uint64_t>(accepted_blocks_ * 1024U, kTwoBlocks);
  }
  // The one that is answered next: 0 for packet 0, then the image's, the last one to the end.
  std::uint32_t Block() const {
    return state_before_ < State::kBlock && model_.GetState() != State::kBlock
               ? 0U
               : std::min(accepted_blocks_ + 1, 2U);
  }

 private:
  bool IsInTransfer() const { return has_begun_ && model_.GetState() != State::kAccepted; }

  FaultyLine& line_;
  const TransferModel& model_;
  bool has_begun_ = false;
  bool has_read_ = false;
  std::string sent_outside_;
  std::optional<std::uint8_t> answer_;
  State state_before_ = State::kStart;
  std::uint32_t accepted_blocks_ = 0;
};

// How a run ends: an outcome or a reason, and what is said.
struct End {
  std::string result;
  bool in_transfer;
  std::string message;
};

std::string Hexadecimal(std::uint8_t byte) {
  std::array<char, 5> text{};
  std::snprintf(text.data(), text.size(), "0x%02X", byte);
  return text.data();
}

std::string BrokenBy(std::optional<std::uint8_t> answer) {
  if (!answer) {
    return "no answer within 200 ms";
  }
  return answer == 0x18 ? "the board ended the transfer"
                        : "a wrong answer (" + Hexadecimal(*answer) + ")";
}

End ExpectedEnd(State state, const LineToABoard& line) {
  const std::optional<std::uint8_t> answer = line.Answer();
  const std::string flash_again = ": the board has no valid application, flash it again";
  if (state == State::kAccepted) {
    return {"flashed", false, ""};
  }
  if (state == State::kRefused) {
    return {"rejected", false,
            "the bootloader rejects the image that it has received (" + Hexadecimal(*answer) + ")" +
                flash_again};
  }
  if (line.StateBefore() == State::kStart) {
    return {"refused", false, "the bootloader can't receive an image (it says F)"};
  }
  if (line.Block() == 0 && (answer == 0x15 || answer == 0x18)) {
    return {"refused", false,
            "the bootloader refuses the image: it is for another board or application"};
  }
  return {"broken", true,
          BrokenBy(answer) +
              (line.Block() == 0
                   ? " before block 1 of 2: the board was left in its bootloader, flash it again"
                   : " at block " + std::to_string(line.Block()) + " of 2" + flash_again)};
}

// The parameter is what the board says whatever it gets; if empty, it listens.
class HostileBoardTest : public ::testing::TestWithParam<const char*> {
 protected:
  HostileBoardTest() {
    plan_.command_line.image = folder_.WriteFile("fw_tv.bin", image_);
    plan_.command_line.switch_to_bootloader = false;
    plan_.bytes = kTwoBlocks;
    plan_.image_written = std::filesystem::last_write_time(plan_.command_line.image);
  }

  // Returns whether the fault's answer was reached.
  bool Run(const Fault& fault) {
    faulty_line_.Restart({fault});
    LineToABoard line(faulty_line_, model_);
    std::uint64_t told = 0;
    TransferWatch watch(
        line, kTwoBlocks, [&line] { return line.HasRead(); },
        [&] {
          EXPECT_GT(watch.GetPosition().bytes_sent, told) << faulty_line_.Described();
          told = watch.GetPosition().bytes_sent;
          EXPECT_EQ(told, line.AcceptedBytes()) << faulty_line_.Described();
          EXPECT_EQ(watch.GetPosition().block, 2U) << faulty_line_.Described();
        });
    ends_.insert(ResultOf(line, watch));
    EXPECT_EQ(told, line.AcceptedBytes()) << faulty_line_.Described();
    EXPECT_TRUE(faulty_line_.HasSentAll()) << faulty_line_.Described();
    EXPECT_EQ(line.SentOutside(), model_.GetState() == State::kAccepted ? "060" : "0")
        << faulty_line_.Described();
    return faulty_line_.Position() >= fault.position;
  }

  std::string ResultOf(LineToABoard& line, TransferWatch& watch) {
    bootloadertms::BootLoader client(
        std::make_unique<PortDecorator>(static_cast<bootloadertms::ISerialPort&>(watch)));
    try {
      const Event end = Flash(plan_, /*is_repeated=*/false, TransferModel::kAnswerTimeout, client,
                              watch, [](const Event& event) { EXPECT_EQ(event.bytes_sent, 0U); });
      ExpectEnd(end, line);
      return end.outcome == Outcome::kFlashed ? "flashed" : std::string(NameOf(end.reason));
    } catch (const EndOfRun&) {
      // Until the deadline, when CAN CAN ends it.
      EXPECT_FALSE(model_.HasEnded()) << faulty_line_.Described();
      EXPECT_TRUE(watch.IsInTransfer()) << faulty_line_.Described();
      EXPECT_EQ(watch.GetPosition().block, line.Block()) << faulty_line_.Described();
      return "waits";
    } catch (const Deviation&) {
      return "deviates";
    }
  }

  void ExpectEnd(const Event& end, const LineToABoard& line) {
    ASSERT_TRUE(model_.HasEnded()) << faulty_line_.Described();
    const End expected = ExpectedEnd(model_.GetState(), line);
    const bool is_flashed = end.outcome == Outcome::kFlashed;
    EXPECT_EQ(is_flashed ? "flashed" : NameOf(end.reason), expected.result)
        << faulty_line_.Described();
    EXPECT_EQ(end.Text(), expected.message) << faulty_line_.Described();
    EXPECT_EQ(end.step == Step::kTransfer, expected.in_transfer) << faulty_line_.Described();
    EXPECT_EQ(end.block, line.Block()) << faulty_line_.Described();
    EXPECT_EQ(end.blocks, 2U);
    EXPECT_EQ(end.bytes_sent, line.AcceptedBytes()) << faulty_line_.Described();
  }

  const std::string image_ = std::string(1024, '\x01') + std::string(476, '\x02');
  SilencedOutput silence_;
  FakeTime time_{[](std::chrono::nanoseconds asked) { return asked; }};
  TemporaryFolder folder_;
  Plan plan_;
  ObligingBoard board_{ObligingBoard::Program::kBootloader, image_};
  TransferModel model_{PacketZeroOfBoard(kTwoBlocks, *BoardOfKey("tv")), image_,
                       TransferModel::Host::kBoards};
  FaultyLine faulty_line_{board_, model_, GetParam()};
  std::set<std::string> ends_;
};

TEST_P(HostileBoardTest, IsToldByItsReasonAndGetsWhatItMay) {
  std::size_t position = 1;
  for (; Run({position, Kind::kDelete}); ++position) {
    for (const Kind kind : {Kind::kDouble, Kind::kDelay, Kind::kNever}) {
      Run({position, kind});
    }
    for (unsigned value = 0; value < 256; ++value) {
      for (const Kind kind : {Kind::kReplace, Kind::kInsertBefore, Kind::kAlways}) {
        Run({position, kind, static_cast<std::uint8_t>(value)});
      }
    }
  }
  EXPECT_EQ(position - 1, kRightAnswers.size());
  EXPECT_EQ(ends_, (std::set<std::string>{"flashed", "refused", "broken", "rejected", "waits"}));
}

INSTANTIATE_TEST_SUITE_P(All, HostileBoardTest, ::testing::Values("", kRightAnswers.c_str()),
                         [](const auto& test) {
                           return test.index == 0 ? "OfALivelyBoard" : "OnATape";
                         });

}  // namespace
}  // namespace kvo::boards::testing
