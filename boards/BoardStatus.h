#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "boards/Events.h"
#include "boards/ports/PortAddress.h"

namespace kvo::boards {

using Clock = std::chrono::steady_clock;

// What is to be done at a port; fixed before it begins.
struct Assignment {
  PortAddress port;
  std::chrono::milliseconds answer_timeout{0};
  std::chrono::milliseconds deadline{0};  // of one attempt; 0: none
  std::string log_path;                   // empty: no log
};

// All that is known of one board, from its port's name to its result. The supervisor keeps it;
// displays and logs read it.
struct BoardStatus {
  std::string port;  // as on the command line, or as it was found
  std::string log_path;

  // What the image is for; empty and 0 when there is none.
  std::string board;
  std::string application;
  std::uint64_t bytes = 0;

  bool is_left_alone = false;  // in a watch: the port is there, and nothing is done with it
  int attempt = 0;             // 0: nothing was begun
  Step step = Step::kOpening;
  std::uint32_t block = 0;
  std::uint32_t blocks = 0;
  std::uint64_t bytes_sent = 0;
  Clock::time_point began;                   // the first attempt; before it, the program
  Clock::time_point transfer_began;          // this attempt's, valid from its `Step::kTransfer` on
  std::array<std::string, kFields> answers;  // by `Field`

  struct End {
    Outcome outcome;
    Reason reason;  // valid when failed
    std::string message;
    bool in_transfer;         // `block` and `blocks` tell where it ended
    double seconds;           // all attempts
    double bytes_per_second;  // of the image, from the first block to the verdict; flashed only
  };
  std::optional<End> end;
};

// Whether this is what the user asked for.
bool IsGood(const BoardStatus::End& end);

// "16 boards: 15 flashed, 1 failed"
struct Totals {
  std::size_t boards = 0;
  std::size_t good = 0;
  std::size_t failed = 0;
  double seconds = 0.0;
};
// The time is left to the caller.
Totals TotalsOf(const std::vector<BoardStatus>& boards);

}  // namespace kvo::boards
