#pragma once

#include <cstddef>
#include <string>

#include "support/UnaskedPort.h"

namespace kvo::bootloadertms::testing {

// The ways in which a port's contract lets its calls go wrong.
enum class Failure {
  kFails,   // `WriteByte` and `Read` throw EFAULT, `ReadByte` gives 0xFF, `FlushInput` -1
  kSilent,  // nothing arrives: `Read` gives nothing, `ReadByte` 0x00; the other calls go well
  kClosed,  // the port isn't open: as `kFails`, but single bytes throw the text for that
};

// What is to go wrong at a port, and what has happened there. The letters of calls are W for
// `WriteByte`, B for `ReadByte`, R for `Read` and F for `FlushInput`.
struct PortTrouble {
  // The `first_call`th call and, if `lasting`, all that follow go wrong in this way; 0: none.
  explicit PortTrouble(std::size_t first_call = 0, Failure failure = Failure::kFails,
                       bool lasting = false);
  PortTrouble(const PortTrouble&) = delete;
  PortTrouble& operator=(const PortTrouble&) = delete;

  Failure failure;
  std::size_t first_call;
  bool lasting;

  std::string calls;    // one letter each
  std::string written;  // in calls that went well or were silent
  int closes = 0;
  int calls_without_lock = 0;  // made while not exactly one mutex was held
};

// Hands every call on to a port and lets some go wrong; those are not handed on, so an answer that
// didn't come is still to come. A run that goes on long after the trouble began is ended. It
// borrows both, and allocates nothing.
class FailingPort : public UnaskedPort {
 public:
  FailingPort(ISerialPort& port, PortTrouble& trouble) : port_(port), trouble_(trouble) {}

  int Close() override;
  void Read(std::string& data) override;
  void WriteByte(std::uint8_t byte) override;
  std::uint8_t ReadByte() override;
  int FlushInput() override;

 private:
  // Notes the call and tells whether it goes wrong.
  bool GoesWrong(char letter);

  ISerialPort& port_;
  PortTrouble& trouble_;
};

}  // namespace kvo::bootloadertms::testing
