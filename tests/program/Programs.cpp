#include "program/Programs.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>

namespace kvo::bootloadertms::testing {

namespace {

// The utility waits for an answer for 100 ms only, so these tests, and with them all that they
// start, run before others where they may. As Linux shares the processor among sessions first, they
// get one of their own, and that its share.
class PreferredProgram : public ::testing::Environment {
  void SetUp() override {
    constexpr int kTenTimesTheUsualShare = -10;
    if (::setsid() != -1) {
      std::ofstream("/proc/self/autogroup") << kTenTimesTheUsualShare;
    }
    PreferThisProcess();
  }
};

[[maybe_unused]] const auto* const preferred =
    ::testing::AddGlobalTestEnvironment(new PreferredProgram);

}  // namespace

std::unique_ptr<RunningProgram> StartProgram(const std::vector<std::string>& command,
                                             const StandInTools& tools) {
  return std::make_unique<RunningProgram>(command, tools.Environment());
}

std::unique_ptr<RunningProgram> StartUtility(const std::vector<std::string>& arguments,
                                             const StandInTools& tools,
                                             const std::vector<std::string>& run_by) {
  std::vector<std::string> command = run_by;
  command.emplace_back(KVO_UTILITY);
  command.insert(command.end(), arguments.begin(), arguments.end());
  std::map<std::string, std::string> environment = tools.Environment();
  if (!run_by.empty()) {
    // faketime's library comes before the sanitizer's; looking for leaks and strace need ptrace.
    environment["ASAN_OPTIONS"] = "verify_asan_link_order=0:detect_leaks=0";
  }
  return std::make_unique<RunningProgram>(command, environment);
}

Outcome OutcomeOf(RunningProgram& program) {
  const int exit_status = program.Wait();
  EXPECT_NE(exit_status, -1) << "the program doesn't end";
  return {exit_status, program.Output(), program.ErrorOutput()};
}

Outcome RunProgram(const std::vector<std::string>& command) {
  const StandInTools tools;
  return OutcomeOf(*StartProgram(command, tools));
}

Outcome RunUtility(const std::vector<std::string>& arguments, const StandInTools& tools) {
  return OutcomeOf(*StartUtility(arguments, tools));
}

std::string ImageOf(std::size_t length) {
  std::string image;
  for (std::uint32_t i = 0; i < length; ++i) {
    image += static_cast<char>(i * i / 7);
  }
  return image;
}

SimulatedBoard::SimulatedBoard(std::vector<std::string> options) {
  options.insert(options.begin(), {KVO_SIMULATOR, "--flash", folder_.Path("flash"), "--trace",
                                   folder_.Path("trace")});
  program_ = std::make_unique<RunningProgram>(options);
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
