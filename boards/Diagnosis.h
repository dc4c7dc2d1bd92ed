#pragma once

#include <string>

#include "boards/BoardStatus.h"

namespace kvo::boards {

// A transfer's end: the cause, where it came, and what that means, as in "interrupted at block 17
// of 256: the board has no valid application, flash it again". The blocks are those of `Event`.
std::string InTransfer(std::uint32_t block, std::uint32_t blocks, const std::string& cause);

// The cause, and what it means that it came when the board stood as `status` says.
std::string Diagnosis(const BoardStatus& status, const std::string& cause);

// How a process that served a board ended unexpectedly, by the status that the system tells.
std::string EndOfProcess(int wait_status);

}  // namespace kvo::boards
