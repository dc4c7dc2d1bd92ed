#include "front_end/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

namespace kvo::bootloadertms {

namespace {

void Survive(int /*signal*/) {}

// By a handler, as an ignored signal would stay ignored in the programs that this one starts. Where
// it is ignored already, they are to find it so.
void SurviveLostReaders() {
  if (std::signal(SIGPIPE, Survive) == SIG_IGN) {
    std::signal(SIGPIPE, SIG_IGN);
  }
}

bool IsClosed(int descriptor) { return ::fcntl(descriptor, F_GETFD) == -1; }

}  // namespace

void DetachActionFromStandardStreams() {
  SurviveLostReaders();
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (IsClosed(stream)) {
      ::open("/dev/null", O_RDWR);  // gets the lowest free number: this one
    }
  }
}

}  // namespace kvo::bootloadertms
