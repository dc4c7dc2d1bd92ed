#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "client/BootLoader.h"
#include "faults/ObligingBoard.h"

namespace kvo::bootloadertms::testing {

// One operation of a client with fixed arguments, and how it goes with an obliging board.
struct Operation {
  std::string name;  // also that of a test
  ObligingBoard::Program program;
  // Appends what the operation returns to `result`, which has room for it.
  void (*run)(BootLoader& client, const std::string& image_path, std::string& result);
  std::string calls;    // letters as in `PortTrouble`, a number before one repeats it: "W 2B"
  std::string outcome;  // as `RunInto` tells it
  std::size_t image_length = 0;
};

// All operations of the client; both uploads with images of no, one and three blocks.
const std::vector<Operation>& Operations();

bool IsAnUpload(const Operation& operation);

// Those that only set something, and may do so while another operation runs.
bool IsASetter(const Operation& operation);

// The image of an operation.
std::string ImageOf(const Operation& operation);

// Runs an operation and replaces `outcome` by how it ended: "returns " and the result,
// "runtime_error " and the text, "system_error EFAULT" or "EAGAIN", "bad_alloc" or "still waiting".
// Allocates nothing itself as long as `outcome` has room.
void RunInto(std::string& outcome, const Operation& operation, BootLoader& client,
             const std::string& image_path);

// `outcome` with room for every outcome.
std::string RoomForAnOutcome();

}  // namespace kvo::bootloadertms::testing
