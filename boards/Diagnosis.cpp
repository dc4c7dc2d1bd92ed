#include "boards/Diagnosis.h"

#include <sys/wait.h>

#include <cstring>

namespace kvo::boards {

std::string InTransfer(std::uint32_t block, std::uint32_t blocks, const std::string& cause) {
  if (block == 0) {
    return cause + " before block 1 of " + std::to_string(blocks) +
           ": the board was left in its bootloader, flash it again";
  }
  return cause + " at block " + std::to_string(block) + " of " + std::to_string(blocks) +
         ": the board has no valid application, flash it again";
}

std::string Diagnosis(const BoardStatus& status, const std::string& cause) {
  switch (status.step) {
    case Step::kOpening:
    case Step::kWaiting:
      return cause + " before anything was sent";
    case Step::kSwitching:
      return cause + " while the bootloader was called: nothing of the image was sent";
    case Step::kTransfer:
      return InTransfer(status.block, status.blocks, cause);
    case Step::kStarting:
      return cause + " while the application was started: the board is flashed";
    case Step::kAsking:
      break;
  }
  return cause + " while the board was asked";
}

std::string EndOfProcess(int wait_status) {
  if (WIFSIGNALED(wait_status)) {
    const int signal = WTERMSIG(wait_status);
    return "the process that served it was ended by signal " + std::to_string(signal) + " (" +
           ::strsignal(signal) + ")";
  }
  if (WEXITSTATUS(wait_status) == 0) {
    return "the process that served it was ended by another process";
  }
  return "the process that served it ended with status " + std::to_string(WEXITSTATUS(wait_status));
}

}  // namespace kvo::boards
