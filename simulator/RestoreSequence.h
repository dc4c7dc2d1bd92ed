#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "simulator/ByteStream.h"
#include "simulator/Trace.h"

namespace kvo::boardsimulator {

enum class RestoreStage {
  kPossible,  // the second byte may still come
  kComplete,
  kBroken,  // begun, and not ended rightly
  kAbsent,  // something else came, or nothing for too long
};

// The bytes 'Q' '6' 't' 'C' 'R' 'L', some time apart, which tell the application to restore its
// default parameters. The 'Q' alone asks for the bootloader, so only what follows tells which of
// the two it was. Tells the trace how a sequence that has begun ends. Borrows everything.
class RestoreSequence {
 public:
  // To be made when the 'Q' has been read.
  RestoreSequence(ByteStream& stream, Trace& trace)
      : stream_(stream), trace_(trace), begin_(stream.Now()), last_(begin_) {}

  // Waits for the second byte, at most until `until`, and once it has come for the rest. Returns
  // at once when all is decided.
  RestoreStage Follow(TimePoint until);

  // The byte that came in place of the second one, if it is that which decided.
  std::optional<std::uint8_t> OtherByte() const { return other_byte_; }

 private:
  RestoreStage TakeSecond(std::uint8_t byte);
  std::string ObjectionToRest();
  std::string ObjectionTo(std::optional<std::uint8_t> byte, char expected);

  ByteStream& stream_;
  Trace& trace_;
  TimePoint begin_;
  TimePoint last_;
  std::string gaps_;
  RestoreStage stage_ = RestoreStage::kPossible;
  std::optional<std::uint8_t> other_byte_;
};

}  // namespace kvo::boardsimulator
