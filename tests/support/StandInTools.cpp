#include "support/StandInTools.h"

#include <cstdlib>

namespace kvo::bootloadertms::testing {

std::string CurrentPath() {
  const char* path = std::getenv("PATH");
  return path == nullptr ? "" : path;
}

StandInTools::StandInTools() {
  LsofPrints("");
  PsPrints("");
}

void StandInTools::LsofPrints(const std::string& text) { Write("lsof", text); }

void StandInTools::PsPrints(const std::string& text) { Write("ps", text); }

std::string StandInTools::Calls() const { return ReadFile(folder_.Path("calls")); }

std::map<std::string, std::string> StandInTools::Environment() const {
  return {{"PATH", folder_.Path("bin") + ":" + CurrentPath()}};
}

void StandInTools::Write(const std::string& tool, const std::string& text) {
  const std::string answer = folder_.WriteFile(tool + ".txt", text);
  folder_.WriteScript("bin/" + tool,
                      "echo \"" + tool + " $*\" >> " + folder_.Path("calls") + "\ncat " + answer);
}

PathOfThisProcess::PathOfThisProcess(const std::string& path) : former_(CurrentPath()) {
  ::setenv("PATH", path.c_str(), 1);
}

PathOfThisProcess::~PathOfThisProcess() { ::setenv("PATH", former_.c_str(), 1); }

}  // namespace kvo::bootloadertms::testing
