#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvo::boardsimulator {

enum class FaultAction {
  kNak,        // NAK
  kAskAgain,   // 'C'
  kCancel,     // CAN CAN, and the attempt is over
  kByte,       // Fault::byte
  kSilence,    // no answer
  kLate,       // the right answer after Fault::delay
  kLostAck,    // the right answer without its first byte
  kDoubleAck,  // the right answer with its first byte twice
  kHangUp,     // the board leaves the line
};

enum class PlaceKind { kStart, kPacketZero, kBlock, kEndOfFile, kClosing, kVerdict };

// A moment of an upload at which the board answers.
struct Place {
  PlaceKind kind = PlaceKind::kStart;
  std::uint32_t block = 0;  // of kBlock, counted from 1

  bool operator==(const Place&) const = default;
};

// One misbehaviour of the board.
struct Fault {
  FaultAction action = FaultAction::kNak;
  std::uint8_t byte = 0;               // of kByte
  std::chrono::milliseconds delay{0};  // of kLate
  Place place;
  std::optional<std::uint32_t> times = 1;  // nothing: always
  std::string text;                        // as it was given
};

// Reads ACTION@PLACE[/TIMES], such as "nak@block:3/2". Throws std::invalid_argument, which says
// what is wrong, if the text is no fault.
Fault ParseFault(std::string_view text);

}  // namespace kvo::boardsimulator
