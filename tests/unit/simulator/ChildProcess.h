#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "simulator/UniqueDescriptor.h"

namespace kvo::boardsimulator {

// A pair of connected sockets, closed on exec.
struct SocketPair {
  SocketPair();
  UniqueDescriptor first;
  UniqueDescriptor second;
};

// A program run by a test; killed at the end if it still runs.
class ChildProcess {
 public:
  // Starts `arguments[0]` with the descriptors given as its standard input, output and error
  // (-1: none, which is /dev/null).
  ChildProcess(const std::vector<std::string>& arguments, int input, int output, int error);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  void Signal(int signal) const;
  // Waits for the end; the exit status, or -1 if a signal ended the program.
  int WaitForEnd();

 private:
  pid_t id_ = -1;
};

// What a program that ends by itself says and returns.
struct ProgramOutcome {
  int exit_status = -1;
  std::string output;
  std::string error;
};
ProgramOutcome RunToItsEnd(const std::vector<std::string>& arguments);

}  // namespace kvo::boardsimulator
