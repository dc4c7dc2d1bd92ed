#pragma once

#include <CLI/CLI.hpp>

#include "simulator/Board.h"

namespace kvo::boardsimulator {

// What the help says about them at its end.
extern const char* const kAnswerHelp;

// Adds the options for what the board answers to requests, and how it sends that.
void AddAnswerOptions(CLI::App& app, BoardSettings& board);

}  // namespace kvo::boardsimulator
