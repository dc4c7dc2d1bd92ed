#pragma once

#include <map>
#include <string>

#include "support/TemporaryFolder.h"

namespace kvo::bootloadertms::testing {

// Stand-ins for `lsof` and `ps`, found before the real ones by programs that get `Environment()`.
// Each prints its text (nothing at first) and notes its call.
class StandInTools {
 public:
  StandInTools();

  void LsofPrints(const std::string& text);
  void PsPrints(const std::string& text);

  // One line a call, in their order: the tool's name and its arguments.
  std::string Calls() const;

  // The variable PATH, for a program that a test starts.
  std::map<std::string, std::string> Environment() const;

 private:
  void Write(const std::string& tool, const std::string& text);

  TemporaryFolder folder_;
};

// The variable PATH of this process.
std::string CurrentPath();

// Gives this process another PATH for as long as the object lives.
class PathOfThisProcess {
 public:
  explicit PathOfThisProcess(const std::string& path);
  PathOfThisProcess(const PathOfThisProcess&) = delete;
  PathOfThisProcess& operator=(const PathOfThisProcess&) = delete;
  ~PathOfThisProcess();

 private:
  std::string former_;
};

}  // namespace kvo::bootloadertms::testing
