#include "program/Programs.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

namespace kvo::bootloadertms::testing {

namespace {

std::unique_ptr<RunningProgram> Start(std::vector<std::string> command,
                                      const std::vector<std::string>& arguments,
                                      const std::map<std::string, std::string>& environment) {
  command.emplace_back(KVO_UTILITY);
  command.insert(command.end(), arguments.begin(), arguments.end());
  auto utility = std::make_unique<RunningProgram>(command, environment);
  utility->Prefer();
  return utility;
}

}  // namespace

std::unique_ptr<RunningProgram> StartUtility(const std::vector<std::string>& arguments,
                                             const StandInTools& tools) {
  return Start({}, arguments, tools.Environment());
}

std::unique_ptr<RunningProgram> StartUtilityInFastTime(const std::vector<std::string>& arguments,
                                                       const StandInTools& tools) {
  std::map<std::string, std::string> environment = tools.Environment();
  environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";  // faketime's library comes first
  return Start({"faketime", "-f", "+0 x40"}, arguments, environment);
}

Outcome RunUtility(const std::vector<std::string>& arguments, const StandInTools& tools) {
  return OutcomeOf(*StartUtility(arguments, tools));
}

Outcome OutcomeOf(RunningProgram& utility) {
  const int exit_status = utility.Wait();
  EXPECT_NE(exit_status, -1) << "the utility doesn't end";
  return {exit_status, utility.Output(), utility.ErrorOutput()};
}

bool ComesThrough(const std::function<bool()>& attempt) {
  for (int attempts = 0; attempts < 5; ++attempts) {
    if (attempt()) {
      return true;
    }
  }
  return false;
}

SimulatedBoard::SimulatedBoard(std::vector<std::string> options) {
  options.insert(options.begin(), {KVO_SIMULATOR, "--flash", folder_.Path("flash"), "--trace",
                                   folder_.Path("trace")});
  program_ = std::make_unique<RunningProgram>(options);
  program_->Prefer();  // the utility waits for an answer for 100 ms only
  path_ = program_->FirstLine();
  EXPECT_NE(path_, "") << program_->ErrorOutput();
}

const std::string& SimulatedBoard::Path() const { return path_; }

std::string SimulatedBoard::Flash() const { return ReadFile(folder_.Path("flash")); }

bool SimulatedBoard::HasFlash() const { return std::filesystem::exists(folder_.Path("flash")); }

std::string SimulatedBoard::Trace() {
  program_->Signal(SIGTERM);
  EXPECT_EQ(program_->Wait(), 0) << program_->ErrorOutput();
  return ReadFile(folder_.Path("trace"));
}

}  // namespace kvo::bootloadertms::testing
