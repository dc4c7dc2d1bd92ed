#pragma once

#include "boards/ports/BoardPort.h"

namespace kvo::boards {

// A terminal device that nobody else has open while this has it: `flock` keeps out those who ask,
// `TIOCEXCL` those who don't.
class ExclusiveTerminal : public BoardPort {
 public:
  using BoardPort::BoardPort;

 protected:
  Borrowed OpenDescriptor() override;
  int Discard(int descriptor) override;
};

}  // namespace kvo::boards
