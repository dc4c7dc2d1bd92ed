#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "client/IBootLoader.h"

namespace kvo::bootloadertms {

// A code of the command mode and what becomes of it.
struct Command {
  std::uint32_t code;
  const char* usage_label;
  const char* progress_label;
  bool shows_typed_text;  // in its progress message

  // Runs the command and returns the lines to be printed. Throws what the client throws, and
  // `std::runtime_error` with a text of its own for a board that is silent.
  std::vector<std::string> (*run)(IBootLoader& client);
};

// In the order of the usage text.
std::span<const Command> Commands();

// Null for a code that isn't a command.
const Command* FindCommand(std::uint32_t code);

}  // namespace kvo::bootloadertms
