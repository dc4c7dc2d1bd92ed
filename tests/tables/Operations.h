#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "client/IBootLoader.h"
#include "tables/ClientModel.h"

namespace kvo::bootloadertms::testing {

// What operations are called with, as far as they need it.
struct Arguments {
  std::uint16_t code;
  std::string image_path;
  std::string image;  // the file's content; its name selects the board "tv"
};

// One operation of a client.
struct Operation {
  std::string name;  // also that of a test
  // Appends what the operation returns to `result`. Allocates nothing itself if that has the
  // capacity.
  void (*run)(IBootLoader& client, const Arguments& arguments, std::string& result);
  std::string (*model)(ClientModel& model, const Arguments& arguments);
  bool is_of_application = false;  // which answers it
  std::uint16_t code = 0;          // with which an answer comes
};

// All of them. The seeds of the fuzz target call them by their numbers: new ones stand at the end.
const std::vector<Operation>& Operations();

bool IsAnUpload(const Operation& operation);

// Those that only set something, and may do so while another operation runs.
bool IsASetter(const Operation& operation);

// Runs an operation and replaces `outcome` by how it ended: "returns " and the result,
// "runtime_error " and the text, "system_error EFAULT" or "EAGAIN", "bad_alloc" or "ended from
// outside". Allocates nothing itself as long as `outcome` has the capacity.
void RunInto(std::string& outcome, const Operation& operation, const Arguments& arguments,
             IBootLoader& client);

// How the model says that the operation ends, in the same words.
std::string ModelOutcome(const Operation& operation, const Arguments& arguments,
                         ClientModel& model);

}  // namespace kvo::bootloadertms::testing
