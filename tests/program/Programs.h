#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/Files.h"
#include "support/Processes.h"

namespace kvo::bootloadertms::testing {

// How a run ended.
struct Outcome {
  int exit_status;
  std::string output;
  std::string error_output;
};

// Starts one of this project's programs; `command` is its path and its arguments. The stand-ins for
// `lsof` and `ps`, which must live as long as the run, make the result independent of what else
// this machine runs.
std::unique_ptr<RunningProgram> StartProgram(const std::vector<std::string>& command,
                                             const StandInTools& tools);

// The utility; `arguments` follow its name. A command such as faketime may run it.
std::unique_ptr<RunningProgram> StartUtility(const std::vector<std::string>& arguments,
                                             const StandInTools& tools,
                                             const std::vector<std::string>& run_by = {});

// Wait for the end; a run that doesn't end fails the test.
Outcome OutcomeOf(RunningProgram& program);
Outcome RunProgram(const std::vector<std::string>& command);
Outcome RunUtility(const std::vector<std::string>& arguments,
                   const StandInTools& tools = StandInTools());

// A firmware image of `length` bytes, of all values, in no order that repeats with a block.
std::string ImageOf(std::size_t length);

// The simulated board's own program, on a pseudo-terminal of its own.
class SimulatedBoard {
 public:
  // `options` as on its command line; it keeps its image and its trace in a folder of its own.
  explicit SimulatedBoard(std::vector<std::string> options);

  // Of the device to open.
  const std::string& Path() const;

  // The image that the board holds; empty when it was given none.
  std::string Flash() const;
  bool HasFlash() const;

  // Ends the simulator and returns all that it noted of the line.
  std::string Trace();

 private:
  TemporaryFolder folder_;
  std::unique_ptr<RunningProgram> program_;
  std::string path_;
};

}  // namespace kvo::bootloadertms::testing
