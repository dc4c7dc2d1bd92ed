#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "faults/ObligingBoard.h"
#include "support/UnaskedPort.h"
#include "tables/TransferModel.h"

namespace kvo::bootloadertms::testing {

// What a line does to one byte of the answers.
struct Fault {
  enum class Kind {
    kReplace,
    kDelete,
    kDouble,
    kInsertBefore,
    kDelay,   // nothing comes in time, then the byte
    kAlways,  // the value, in place of this and all further answers, without an end
    kNever,   // neither this nor any further answer
  };

  std::size_t position;  // of the byte among all that the far end answers, from 1
  Kind kind;
  std::uint8_t value = 0;  // that is put in
};

// The host has done what the model doesn't say; `what` has been told as a failure of the test.
struct Deviation {};

// A line that spoils answers, seen as the host's port. It lets the model follow the dialogue and
// holds the host to it byte by byte: whatever the host writes must be what the model says, and it
// may read only when that has gone out, and never after an end. Where the model stays in a state
// for 40 answers, or goes on for 100, that wait has no end, and the line ends the run.
class FaultyLine : public UnaskedPort {
 public:
  // At the far end is the board or, if there is a tape, one that has said beforehand what it has to
  // say, and doesn't listen.
  FaultyLine(ObligingBoard& board, TransferModel& model, std::string tape = "");

  // A new transfer, on which the line makes these faults.
  void Restart(std::vector<Fault> faults);

  // Whether all that the model wants said has been said.
  bool HasSentAll() const { return sent_ == model_.ToSend().size(); }

  // What the host has read so far.
  const std::string& Answers() const { return answers_; }

  // The faults and the answers, for a test that fails.
  std::string Described() const;

  // Whether the last `ReadByte` got an answer: none is 0x00, too.
  bool HasRead() const { return has_read_; }

  // How many answers of the far end have come so far, spoilt or not.
  std::size_t Position() const { return position_; }

  void Read(std::string& data) override;
  void WriteByte(std::uint8_t byte) override;
  std::uint8_t ReadByte() override;
  int FlushInput() override;

 private:
  [[noreturn]] void Deviate(const std::string& what) const;
  bool HasAnswer() const;
  const Fault* FaultAt(std::size_t position) const;
  const Fault* LastingFault() const;
  std::optional<std::uint8_t> NextAnswer();

  ObligingBoard& board_;
  TransferModel& model_;
  const std::string tape_;
  std::vector<Fault> faults_;
  std::size_t position_ = 0;
  std::optional<std::uint8_t> held_back_;
  bool has_read_ = false;
  std::size_t sent_ = 0;  // of what the model says
  int reads_in_state_ = 0;
  std::string answers_;
};

}  // namespace kvo::bootloadertms::testing
