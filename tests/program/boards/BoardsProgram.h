#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "program/Programs.h"
#include "support/TestTerminal.h"

namespace kvo::bootloadertms::testing {

using Json = nlohmann::json;

// CAN CAN, which ends a transfer.
inline const std::string kCanCan = "\x18\x18";

// For boards that wait in their bootloader: nothing but the transfer, and room for a busy machine.
inline const std::vector<std::string> kTransferAlone = {
    "flash", "--json", "--no-switch", "--no-start", "--answer-timeout", "5000"};

// Lists one after the other, for command lines.
std::vector<std::string> operator+(std::vector<std::string> left,
                                   const std::vector<std::string>& right);

// Runs a program as somebody who isn't the superuser; nothing when nobody is.
std::vector<std::string> AsAnotherUser();

// Starts kvo-boards; a command such as strace may run it.
std::unique_ptr<RunningProgram> StartBoards(const std::vector<std::string>& arguments,
                                            const std::vector<std::string>& run_by = {});

// How a run ended and what it told; with --json, each line of its output is an event.
struct Report {
  int exit_status;
  std::string output;
  std::string error_output;
  std::vector<Json> events;

  // All events of that kind, or those of one port.
  std::vector<Json> All(const std::string& kind, const std::string& port = "") const;
  // The one that there is; anything else fails the test.
  Json Only(const std::string& kind, const std::string& port = "") const;
};

// Wait for the end; a run that doesn't end fails the test.
Report ReportOf(RunningProgram& program);
Report RunBoards(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& run_by = {});

// Whether an event holds these fields, among others.
MATCHER_P(HasFields, fields, "holds " + fields.dump()) {
  for (const auto& [name, value] : fields.items()) {
    if (!arg.contains(name) || arg.at(name) != value) {
      *result_listener << "differs in " << name;
      return false;
    }
  }
  return true;
}

// Whether an event tells a failure for this reason, and in one line what that means.
MATCHER_P(FailedBy, reason, "") {
  const std::string message = arg.value("message", "");
  return arg.value("reason", "") == reason && !message.empty() &&
         message.find('\n') == std::string::npos;
}

// The bytes of one direction in a trace: ">" to the board, "<" from it.
std::string BytesIn(const std::string& trace, const std::string& direction);

// A board at whose line the test itself sits: an image's transfer up to any point.
class PlayedBoard {
 public:
  const std::string& Path() const { return terminal_.Path(); }
  const TestTerminal& Terminal() const { return terminal_; }
  TestTerminal& Terminal() { return terminal_; }

  // Gets the next bytes, and answers them.
  void Gets(std::size_t count, const std::string& answer = "") const;
  // Answers pings as a bootloader until the request for the transfer comes.
  void GetsTheReceiveCommand() const;
  // The same, takes packet 0 and `blocks` of the image and gets one block more.
  void GetsABlockAfter(std::size_t blocks) const;
  // Takes the block that came as the last one, and finds the image good.
  void TakesTheLastBlock() const;
  // All that comes before the run ends and was not taken.
  std::string Rest() const;

 private:
  TestTerminal terminal_;
};

// Gives a port settings that no program would choose, and tells whether it has them again.
class PortAsItWas {
 public:
  explicit PortAsItWas(std::string path);

  // Nor is it locked.
  void ExpectGivenBack() const;

 private:
  std::string path_;
  std::vector<unsigned> settings_;
};

// Of kvo-boards' own processes, the one that serves the board at this port; -1 when there is none.
pid_t WorkerOf(const RunningProgram& program, const std::string& port);
bool WaitUntilGone(pid_t process);

}  // namespace kvo::bootloadertms::testing
