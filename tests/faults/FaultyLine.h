#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "faults/DialogueModel.h"
#include "faults/FailingPort.h"
#include "faults/ObligingBoard.h"
#include "support/UnaskedPort.h"

namespace kvo::bootloadertms::testing {

// What answers at the far end of a line.
class FarEnd {
 public:
  FarEnd() = default;
  FarEnd(const FarEnd&) = delete;
  FarEnd& operator=(const FarEnd&) = delete;
  virtual ~FarEnd() = default;

  virtual void Restart() = 0;
  virtual void Take(std::uint8_t byte) = 0;
  virtual bool HasAnswer() const = 0;
  virtual std::uint8_t Answer() = 0;
};

// Answers whatever it is sent, and rightly.
class LivelyEnd : public FarEnd {
 public:
  explicit LivelyEnd(ObligingBoard& board);

  void Restart() override;
  void Take(std::uint8_t byte) override;
  bool HasAnswer() const override;
  std::uint8_t Answer() override;

 private:
  ObligingBoard& board_;
};

// Has said beforehand what it has to say, and doesn't listen.
class TapedEnd : public FarEnd {
 public:
  explicit TapedEnd(std::string answers);

  void Restart() override;
  void Take(std::uint8_t byte) override;
  bool HasAnswer() const override;
  std::uint8_t Answer() override;

 private:
  std::string answers_;
  std::size_t next_ = 0;
};

// What a line does to one byte of the answers.
struct Fault {
  enum class Kind { kReplace, kDelete, kDouble, kInsertBefore };

  std::size_t position;  // of the byte among all that the far end answers, from 1
  Kind kind;
  std::uint8_t value = 0;  // that is put in
};

// The host has done what the model doesn't say; `what` has been told as a failure of the test.
struct Deviation {};

// A line that spoils answers, seen as the host's port. It lets the model follow the dialogue and
// holds the host to it byte by byte: whatever the host writes must be what the model says, and it
// may read only when that has gone out, and never after an end. Where the model stays in a state
// for 40 answers that wait there is no end of, it throws `StillWaiting`.
class FaultyLine : public UnaskedPort {
 public:
  FaultyLine(FarEnd& far_end, DialogueModel& model);

  // A new transfer, on which the line makes these faults.
  void Restart(std::vector<Fault> faults);

  // Whether all that the model wants said has been said.
  bool HasSentAll() const;

  // What the host has read so far.
  const std::string& Answers() const;

  std::string GetDevice() override;
  std::uint32_t GetBaudRate() override;
  int Close() override;
  void Read(std::string& data) override;
  void WriteByte(std::uint8_t byte) override;
  std::uint8_t ReadByte() override;
  int FlushInput() override;

 private:
  [[noreturn]] void Deviate(const std::string& what) const;
  const Fault* FaultAt(std::size_t position) const;
  std::uint8_t NextAnswer();

  FarEnd& far_end_;
  DialogueModel& model_;
  std::vector<Fault> faults_;
  std::size_t position_ = 0;
  bool has_held_back_ = false;
  std::uint8_t held_back_ = 0;
  std::size_t sent_ = 0;  // of what the model says
  int reads_in_state_ = 0;
  std::string answers_;
};

}  // namespace kvo::bootloadertms::testing
