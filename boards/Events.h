#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <type_traits>

// What a worker tells the supervisor about its board, and the terms in which all of kvo-boards
// speaks of it.
namespace kvo::boards {

// What is being done with a board, in the order in which it comes.
enum class Step : std::uint8_t {
  kOpening,    // the port is opened, checked and locked
  kWaiting,    // for its turn
  kSwitching,  // the bootloader is called
  kTransfer,   // from the receive command to the verdict
  kStarting,   // the application is started
  kAsking,     // the board is asked what it is; nothing else is done with it
};

// How it ended.
enum class Outcome : std::uint8_t {
  kFlashed,
  kReady,     // a dry run has found nothing wrong
  kAnswered,  // the board was asked what it is
  kSilent,    // the same, but nobody answers
  kFailed,    // `Reason` tells why
};

enum class Reason : std::uint8_t {
  kMissing,
  kPermission,
  kBusy,
  kNotATerminal,
  kUnreachable,
  kSilent,
  kRefused,
  kBroken,
  kRejected,
  kNotStarted,
  kDeadline,
  kLost,
  kInterrupted,
  kCrashed,
};

// As in reports: "not-a-terminal".
std::string_view NameOf(Reason reason);

// What a board answers that is asked what it is.
enum class Field : std::uint8_t {
  kState,  // "bootloader" or "application"
  kSerial,
  kHardware,
  kProduct,
  kVersionUpper,
  kVersionLower,
  kBootStatus,
  kApplicationInformation,
};
inline constexpr std::size_t kFields = 8;

// As in reports: "version_upper".
std::string_view NameOf(Field field);

enum class EventKind : std::uint8_t {
  kReady,     // the port is open and locked; `text` and a descriptor tell what is to be given back
  kStep,      // `step` begins
  kProgress,  // `block` and `bytes_sent` have changed
  kAnswer,    // `field` and `text`
  kStopped,   // the worker was told to end, at `block`
  kFinished,  // `outcome`, and `reason` and `text`, a message, if it failed
};

// One message from a worker. It goes through a socket as it stands, from and to the same program.
struct Event {
  static constexpr std::size_t kTextSize = 1024;

  EventKind kind{};
  Step step{};
  Outcome outcome{};
  Reason reason{};
  Field field{};
  // The packet that the board answers next: 0 for packet 0, then the image's blocks; `blocks`, too,
  // after the last of them.
  std::uint32_t block = 0;
  std::uint32_t blocks = 0;
  std::uint64_t bytes_sent = 0;   // of the image, acknowledged by the board
  double transfer_seconds = 0.0;  // from the first block to the verdict
  std::uint32_t text_length = 0;
  std::array<char, kTextSize> text{};

  // Stores `content`, cut to `kTextSize` bytes.
  void SetText(std::string_view content);
  std::string_view Text() const;

  // Whether all enumerators and lengths are what a worker may send: one that has gone wrong may
  // send anything.
  bool IsValid() const;
};
static_assert(std::is_trivially_copyable_v<Event>);

}  // namespace kvo::boards
