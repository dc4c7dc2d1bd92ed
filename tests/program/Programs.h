#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/RunningProgram.h"
#include "support/StandInTools.h"
#include "support/TemporaryFolder.h"

namespace kvo::bootloadertms::testing {

// How a run of the utility ended.
struct Outcome {
  int exit_status;
  std::string output;
  std::string error_output;
};

// The utility's own program. `arguments` follow its name. The stand-ins for `lsof` and `ps`, which
// must live as long as the run, make the result independent of what else this machine runs.
std::unique_ptr<RunningProgram> StartUtility(const std::vector<std::string>& arguments,
                                             const StandInTools& tools);

// The same where all clocks and sleeps of the utility, but not its reads, run 40 times as fast.
std::unique_ptr<RunningProgram> StartUtilityInFastTime(const std::vector<std::string>& arguments,
                                                       const StandInTools& tools);

// Waits for its end; a run that doesn't end fails the test.
Outcome RunUtility(const std::vector<std::string>& arguments,
                   const StandInTools& tools = StandInTools());
Outcome OutcomeOf(RunningProgram& utility);

// Makes up to five attempts, until one comes through: the utility waits for an answer for 100 ms
// only, and a busy machine may hand one over later. Tells whether one did.
bool ComesThrough(const std::function<bool()>& attempt);

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
