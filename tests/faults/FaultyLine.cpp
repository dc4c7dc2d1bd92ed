#include "faults/FaultyLine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace kvo::bootloadertms::testing {

namespace {

constexpr int kReadsPerState = 40;

}  // namespace

FaultyLine::FaultyLine(ObligingBoard& board, TransferModel& model, std::string tape)
    : board_(board), model_(model), tape_(std::move(tape)) {}

void FaultyLine::Restart(std::vector<Fault> faults) {
  board_.Restart(ObligingBoard::Program::kBootloader);
  model_.Restart();
  faults_ = std::move(faults);
  position_ = 0;
  has_held_back_ = false;
  sent_ = 0;
  reads_in_state_ = 0;
  answers_.clear();
}

void FaultyLine::Read(std::string& /*data*/) { Deviate("reads a text"); }

int FaultyLine::FlushInput() { Deviate("discards input"); }

void FaultyLine::WriteByte(std::uint8_t byte) {
  const std::string& to_send = model_.ToSend();
  if (HasSentAll() || static_cast<std::uint8_t>(to_send[sent_]) != byte) {
    Deviate("writes " + std::to_string(byte) + " as byte " + std::to_string(sent_));
  }
  ++sent_;
  if (tape_.empty()) {
    board_.WriteByte(byte);
  }
}

std::uint8_t FaultyLine::ReadByte() {
  if (model_.HasEnded() || !HasSentAll()) {
    Deviate("reads after " + std::to_string(sent_) + " bytes");
  }
  if (reads_in_state_ == kReadsPerState) {
    throw EndOfRun();
  }
  const std::uint8_t answer = NextAnswer();
  answers_ += static_cast<char>(answer);
  const TransferModel::State before = model_.GetState();
  model_.Take(answer);
  reads_in_state_ = model_.GetState() == before ? reads_in_state_ + 1 : 0;
  sent_ = 0;
  return answer;
}

void FaultyLine::Deviate(const std::string& what) const {
  ADD_FAILURE() << what << " in state " << static_cast<int>(model_.GetState());
  throw Deviation();
}

bool FaultyLine::HasAnswer() const {
  return tape_.empty() ? board_.HasAnswer() : position_ < tape_.size();
}

const Fault* FaultyLine::FaultAt(std::size_t position) const {
  const auto fault = std::find_if(faults_.begin(), faults_.end(), [position](const Fault& one) {
    return one.position == position;
  });
  return fault == faults_.end() ? nullptr : &*fault;
}

std::uint8_t FaultyLine::NextAnswer() {
  if (std::exchange(has_held_back_, false)) {
    return held_back_;
  }
  while (HasAnswer()) {
    const std::uint8_t answer =
        tape_.empty() ? board_.ReadByte() : static_cast<std::uint8_t>(tape_.at(position_));
    ++position_;
    const Fault* const fault = FaultAt(position_);
    if (fault == nullptr) {
      return answer;
    }
    if (fault->kind == Fault::Kind::kReplace) {
      return fault->value;
    }
    if (fault->kind != Fault::Kind::kDelete) {
      has_held_back_ = true;
      held_back_ = answer;
      return fault->kind == Fault::Kind::kDouble ? answer : fault->value;
    }
  }
  return 0x00;
}

}  // namespace kvo::bootloadertms::testing
