#include "faults/FaultyLine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace kvo::bootloadertms::testing {

namespace {

constexpr int kReadsPerState = 40;
constexpr std::size_t kReads = 100;

// What comes before the answer.
std::optional<std::uint8_t> FirstOfTwo(const Fault& fault, std::uint8_t answer) {
  switch (fault.kind) {
    case Fault::Kind::kDouble:
      return answer;
    case Fault::Kind::kDelay:
      return std::nullopt;
    default:
      return fault.value;
  }
}

}  // namespace

FaultyLine::FaultyLine(ObligingBoard& board, TransferModel& model, std::string tape)
    : board_(board), model_(model), tape_(std::move(tape)) {}

void FaultyLine::Restart(std::vector<Fault> faults) {
  board_.Restart(ObligingBoard::Program::kBootloader);
  model_.Restart();
  faults_ = std::move(faults);
  position_ = 0;
  held_back_.reset();
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
  if (reads_in_state_ == kReadsPerState || answers_.size() == kReads) {
    throw EndOfRun();
  }
  const std::optional<std::uint8_t> answer = NextAnswer();
  has_read_ = answer.has_value();
  answers_ += static_cast<char>(answer.value_or(0x00));
  const TransferModel::State before = model_.GetState();
  model_.Take(answer);
  reads_in_state_ = model_.GetState() == before ? reads_in_state_ + 1 : 0;
  sent_ = 0;
  return answer.value_or(0x00);
}

void FaultyLine::Deviate(const std::string& what) const {
  ADD_FAILURE() << what << " in state " << static_cast<int>(model_.GetState());
  throw Deviation();
}

bool FaultyLine::HasAnswer() const {
  return tape_.empty() ? board_.HasAnswer() : position_ < tape_.size();
}

std::string FaultyLine::Described() const {
  std::string text;
  for (const Fault& fault : faults_) {
    text += "fault " + std::to_string(static_cast<int>(fault.kind)) + " at " +
            std::to_string(fault.position) + " with " + std::to_string(fault.value) + "; ";
  }
  text += "read:";
  for (const char answer : answers_) {
    text += " " + std::to_string(static_cast<unsigned char>(answer));
  }
  return text;
}

const Fault* FaultyLine::FaultAt(std::size_t position) const {
  const auto fault = std::find_if(faults_.begin(), faults_.end(), [position](const Fault& one) {
    return one.position == position;
  });
  return fault == faults_.end() ? nullptr : &*fault;
}

// That has begun by the next answer.
const Fault* FaultyLine::LastingFault() const {
  const auto fault = std::find_if(faults_.begin(), faults_.end(), [this](const Fault& one) {
    return (one.kind == Fault::Kind::kAlways || one.kind == Fault::Kind::kNever) &&
           one.position <= position_ + 1;
  });
  return fault == faults_.end() ? nullptr : &*fault;
}

std::optional<std::uint8_t> FaultyLine::NextAnswer() {
  if (held_back_) {
    return std::exchange(held_back_, std::nullopt);
  }
  if (const Fault* const fault = LastingFault()) {
    ++position_;
    return fault->kind == Fault::Kind::kAlways ? std::optional(fault->value) : std::nullopt;
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
      held_back_ = answer;
      return FirstOfTwo(*fault, answer);
    }
  }
  return std::nullopt;
}

}  // namespace kvo::bootloadertms::testing
