#include "faults/SpoiltTransfer.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "support/HeldLocks.h"

namespace kvo::bootloadertms::testing {

namespace {

using State = DialogueModel::State;

std::string PacketZero(const std::string& length, const std::string& crc) {
  return std::string("\x01\x00\xFF", 3) + length + std::string(17 - length.size(), '\0') +
         "TRK4_R1" + std::string(25, '\0') + "TRK4-R1-APPLICATION" + std::string(13, '\0') +
         "VER 1.0" + std::string(40, '\0') + crc;
}

// Whether the line has made up an 'O'. Nobody can tell it from the board's.
bool FakesAVerdict(const std::vector<Fault>& faults) {
  for (const Fault& fault : faults) {
    if (fault.value == 'O') {
      return true;
    }
  }
  return false;
}

std::string Described(const std::vector<Fault>& faults, const std::string& answers) {
  std::string text;
  for (const Fault& fault : faults) {
    text += "fault " + std::to_string(static_cast<int>(fault.kind)) + " at " +
            std::to_string(fault.position) + " with " + std::to_string(fault.value) + "; ";
  }
  text += "read:";
  for (const char answer : answers) {
    text += " " + std::to_string(static_cast<unsigned char>(answer));
  }
  return text;
}

}  // namespace

void PrintTo(const Tally& tally, std::ostream* out) {
  *out << tally.accepted << " accepted, " << tally.transmit_failed << " transmit failed, "
       << tally.refused << " refused, " << tally.waits_for_start << " wait for the start, "
       << tally.repeats_closing << " repeat the closing packet";
}

Transfer TransferOfOneBlock() {
  const std::string image(700, '\x01');
  return {image,
          PacketZero("700", "\x5B\xB8"),
          {"\x02\x01\xFE" + image + std::string(324, '\xFF') + "\xB3\xF4"},
          "C\x06\x43\x06\x06\x43\x06O"};
}

Transfer TransferOfTwoBlocks() {
  const std::string first(1024, '\x01');
  const std::string second(476, '\x02');
  return {first + second,
          PacketZero("1500", "\xC7\x7D"),
          {"\x02\x01\xFE" + first + "\x41\x48",
           "\x02\x02\xFD" + second + std::string(548, '\xFF') + std::string("\x00\x14", 2)},
          "C\x06\x43\x06\x06\x06\x43\x06O"};
}

SpoiltTransfer::SpoiltTransfer(const Transfer& transfer, Answering answering)
    : image_path_(folder_.WriteFile("fw_tv.bin", transfer.image)),
      board_(ObligingBoard::Program::kBootloader, transfer.image),
      lively_(board_),
      taped_(transfer.answers),
      model_(transfer.packet_zero, transfer.blocks),
      is_taped_(answering == Answering::kTaped) {
  FarEnd& far_end = is_taped_ ? static_cast<FarEnd&>(taped_) : lively_;
  auto line = std::make_unique<FaultyLine>(far_end, model_);
  line_ = line.get();
  client_ = std::make_unique<BootLoader>(std::move(line));
}

void SpoiltTransfer::Run(const std::vector<Fault>& faults, Tally& tally) {
  line_->Restart(faults);
  const std::string outcome = OutcomeOfUpload();
  const std::string expected = ExpectedOutcome();
  EXPECT_EQ(outcome, expected) << Described(faults, line_->Answers());
  EXPECT_TRUE(line_->HasSentAll()) << Described(faults, line_->Answers());
  EXPECT_EQ(HeldLocks(), 0);
  if (outcome == "accepted") {
    EXPECT_EQ(line_->Answers().back(), 'O');
    EXPECT_TRUE(FakesAVerdict(faults) || is_taped_ || board_.HasConfirmed());
  }
  Count(tally);
}

std::string SpoiltTransfer::OutcomeOfUpload() {
  try {
    client_->UploadImage(image_path_);
    return "accepted";
  } catch (const std::runtime_error& error) {
    return error.what();
  } catch (const StillWaiting&) {
    return "still waiting";
  } catch (const Deviation&) {
    return "deviated";
  }
}

std::string SpoiltTransfer::ExpectedOutcome() const {
  switch (model_.GetState()) {
    case State::kAccepted:
      return "accepted";
    case State::kTransmitFailed:
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

void SpoiltTransfer::Count(Tally& tally) const {
  switch (model_.GetState()) {
    case State::kAccepted:
      ++tally.accepted;
      break;
    case State::kTransmitFailed:
      ++tally.transmit_failed;
      break;
    case State::kRefused:
      ++tally.refused;
      break;
    case State::kStart:
      ++tally.waits_for_start;
      break;
    default:
      ++tally.repeats_closing;
  }
}

}  // namespace kvo::bootloadertms::testing
