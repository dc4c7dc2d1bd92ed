#include "simulator/PseudoTerminal.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

#include "simulator/Waiting.h"

namespace kvo::boardsimulator {
namespace {

// How often to look whether a host has opened the slave end: poll(2) reports a terminal without a
// host at once and from then on, so it cannot do the waiting.
constexpr std::chrono::milliseconds kHostCheckInterval{2};

int OpenMaster() {
  const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (master < 0) {
    throw SystemFailure("cannot open a pseudoterminal");
  }
  return master;
}

std::string PrepareSlave(int master) {
  std::array<char, 128> path{};
  if (::grantpt(master) != 0 || ::unlockpt(master) != 0 ||
      ::ptsname_r(master, path.data(), path.size()) != 0) {
    throw SystemFailure("cannot prepare the pseudoterminal");
  }
  return path.data();
}

}  // namespace

PseudoTerminal::PseudoTerminal(int stop_descriptor)
    : master_(OpenMaster()),
      slave_path_(PrepareSlave(master_.Get())),
      stop_descriptor_(stop_descriptor) {}

std::size_t PseudoTerminal::Read(std::span<std::uint8_t> into, TimePoint until) {
  while (true) {
    const int events = WaitForEvents(master_.Get(), POLLIN, stop_descriptor_, until);
    if ((events & POLLHUP) == 0) {
      host_seen_ = true;
    }
    if (events == 0) {
      return 0;
    }
    const std::size_t count = (events & POLLIN) != 0 ? ReadWhatIsThere(into) : 0;
    if (count > 0) {
      host_seen_ = true;
      return count;
    }
    if ((events & POLLHUP) != 0) {
      NoteThatHostIsGone();
    }
    if (Now() >= until) {
      return 0;
    }
    WaitUntil(std::min(until, Now() + kHostCheckInterval));
  }
}

std::size_t PseudoTerminal::ReadWhatIsThere(std::span<std::uint8_t> into) {
  const ssize_t count = ::read(master_.Get(), into.data(), into.size());
  if (count >= 0) {
    return static_cast<std::size_t>(count);
  }
  if (errno == EIO || errno == EAGAIN || errno == EINTR) {
    return 0;
  }
  throw SystemFailure("cannot read from the pseudoterminal");
}

void PseudoTerminal::NoteThatHostIsGone() {
  if (!host_seen_) {
    return;
  }
  host_seen_ = false;
  ++departures_;
  ForgetWhatHostLeft();
}

// A serial device forgets unread input when it is closed; a pseudo-terminal keeps it for the next
// host. Only this call reaches that input from here; it sets the settings that are there already.
void PseudoTerminal::ForgetWhatHostLeft() {
  termios settings{};
  if (::tcgetattr(master_.Get(), &settings) == 0) {
    ::tcsetattr(master_.Get(), TCSAFLUSH, &settings);
  }
}

bool PseudoTerminal::IsHostGone() const {
  pollfd polled{master_.Get(), 0, 0};
  return ::poll(&polled, 1, 0) == 1 && (static_cast<int>(polled.revents) & POLLHUP) != 0;
}

void PseudoTerminal::Write(std::span<const std::uint8_t> bytes) {
  if (IsHostGone()) {
    return;
  }
  while (!bytes.empty()) {
    const ssize_t count = ::write(master_.Get(), bytes.data(), bytes.size());
    if (count > 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(count));
    } else if (count == 0 || errno == EIO || errno == EAGAIN) {
      return;  // the host has just gone or does not read: the bytes are lost
    } else if (errno != EINTR) {
      throw SystemFailure("cannot write to the pseudoterminal");
    }
  }
}

void PseudoTerminal::WaitUntil(TimePoint until) {
  if (until > Now()) {
    WaitForEvents(-1, 0, stop_descriptor_, until);
  }
}

}  // namespace kvo::boardsimulator
