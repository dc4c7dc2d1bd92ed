#include "faults/FaultyLine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace kvo::bootloadertms::testing {

namespace {

constexpr int kPatience = 40;

}  // namespace

LivelyEnd::LivelyEnd(ObligingBoard& board) : board_(board) {}

void LivelyEnd::Restart() { board_.Restart(ObligingBoard::Program::kBootloader); }

void LivelyEnd::Take(std::uint8_t byte) { board_.WriteByte(byte); }

bool LivelyEnd::HasAnswer() const { return board_.HasAnswer(); }

std::uint8_t LivelyEnd::Answer() { return board_.ReadByte(); }

TapedEnd::TapedEnd(std::string answers) : answers_(std::move(answers)) {}

void TapedEnd::Restart() { next_ = 0; }

void TapedEnd::Take(std::uint8_t /*byte*/) {}

bool TapedEnd::HasAnswer() const { return next_ < answers_.size(); }

std::uint8_t TapedEnd::Answer() { return static_cast<std::uint8_t>(answers_.at(next_++)); }

FaultyLine::FaultyLine(FarEnd& far_end, DialogueModel& model) : far_end_(far_end), model_(model) {}

void FaultyLine::Restart(std::vector<Fault> faults) {
  far_end_.Restart();
  model_.Restart();
  faults_ = std::move(faults);
  position_ = 0;
  has_held_back_ = false;
  sent_ = 0;
  reads_in_state_ = 0;
  answers_.clear();
}

bool FaultyLine::HasSentAll() const { return sent_ == model_.ToSend().size(); }

const std::string& FaultyLine::Answers() const { return answers_; }

std::string FaultyLine::GetDevice() { return "/dev/ttyX"; }

std::uint32_t FaultyLine::GetBaudRate() { return 115200; }

int FaultyLine::Close() { return 0; }

void FaultyLine::Read(std::string& /*data*/) { Deviate("reads a text"); }

int FaultyLine::FlushInput() { Deviate("discards input"); }

void FaultyLine::WriteByte(std::uint8_t byte) {
  const std::string& to_send = model_.ToSend();
  if (sent_ == to_send.size() || static_cast<std::uint8_t>(to_send[sent_]) != byte) {
    Deviate("writes " + std::to_string(byte) + " as byte " + std::to_string(sent_));
  }
  ++sent_;
  far_end_.Take(byte);
}

std::uint8_t FaultyLine::ReadByte() {
  if (model_.HasEnded() || !HasSentAll()) {
    Deviate("reads after " + std::to_string(sent_) + " bytes");
  }
  if (reads_in_state_ == kPatience) {
    throw StillWaiting();
  }
  const std::uint8_t answer = NextAnswer();
  answers_ += static_cast<char>(answer);
  const DialogueModel::State before = model_.GetState();
  model_.Take(answer);
  reads_in_state_ = model_.GetState() == before ? reads_in_state_ + 1 : 0;
  sent_ = 0;
  return answer;
}

void FaultyLine::Deviate(const std::string& what) const {
  ADD_FAILURE() << what << " in state " << static_cast<int>(model_.GetState());
  throw Deviation();
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
  while (far_end_.HasAnswer()) {
    const std::uint8_t answer = far_end_.Answer();
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
