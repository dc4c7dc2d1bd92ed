#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "boards/BoardStatus.h"
#include "boards/CommandLine.h"

namespace kvo::boards {

// What is to be done, all that can be known before a port is opened being right.
struct Plan {
  CommandLine command_line;

  // Of the image, as it was checked; empty and 0 without one.
  std::string board;
  std::string application;
  std::uint64_t bytes = 0;
  std::filesystem::file_time_type image_written;

  std::vector<Assignment> assignments;  // in the command line's order; of a watch none
};

// A wrong image or command line, told in one line.
class WrongPlan : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Checks the image, looks up the ports' addresses and works out the times. Throws `WrongPlan` for
// an image that can't be flashed and for the same port under two names. Nothing is opened but the
// image.
Plan MakePlan(CommandLine command_line);

// What is to be done at a port, as the plan has it; without a log.
Assignment Assign(const Plan& plan, const PortAddress& port);

// What is known of its board before it begins.
BoardStatus BeforeTheFirstAttempt(const Plan& plan, const Assignment& assignment);

// How long an answer is waited for unless the user says so: 100 ms and what a block takes on the
// line, rounded up to a tenth of a second; 1000 ms more over TCP.
std::chrono::milliseconds DefaultAnswerTimeout(std::uint32_t baud_rate, bool is_tcp);

// How long an attempt to flash may take unless the user says so: the longest that each step may
// take by itself, and three times the image's time on the line.
std::chrono::milliseconds DefaultDeadline(std::uint64_t bytes, std::uint32_t baud_rate,
                                          std::chrono::milliseconds answer_timeout);

// What `content` looks like if not like a raw binary: "an ELF file", for example; else empty.
std::string LooksLike(std::string_view content);

}  // namespace kvo::boards
