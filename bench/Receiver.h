#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bench/PacedTerminal.h"

namespace kvo::bench {

// What became of an upload, as seen from the line.
struct Reception {
  std::vector<std::uint8_t> image;
  std::size_t blocks = 0;
  // From the request for the first block to the acknowledgement of the last one, without what the
  // receiver itself was late.
  Duration data_phase{};
  // Between each such answer and the first byte of the block after it.
  std::vector<Duration> gaps;
};

// Who begins: `kCommanded` answers pings, waits for the byte `1` and ends with a verdict, as the
// boards do;
// `kAsking` asks at once and gives none, as senders of usual YModem want it.
enum class Manner { kCommanded, kAsking };

// Receives one upload of 1024-byte blocks, or its first `most_blocks` where given. Throws
// `std::runtime_error` at the first wrong byte of a packet's frame.
Reception Receive(PacedTerminal& line, Manner manner, std::optional<std::size_t> most_blocks);

// Refuses every further block until the sender closes the line.
void RefuseBlocks(PacedTerminal& line);

// Answers pings of a bootloader, and every question by one line, until the sender closes the line.
void AnswerQuestions(PacedTerminal& line);

}  // namespace kvo::bench
