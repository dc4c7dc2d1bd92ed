#include "bench/PacedTerminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <thread>

namespace kvo::bench {
namespace {

constexpr std::uint64_t kBitsPerByte = 10;
constexpr std::chrono::milliseconds kShortestNap{1};
constexpr std::chrono::seconds kLongestSilence{10};

[[noreturn]] void ThrowSystemError(const char* what) {
  throw std::system_error(errno, std::system_category(), what);
}

int OpenMaster() {
  const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0) {
    ThrowSystemError("cannot make a pseudo-terminal");
  }
  termios settings{};
  if (::tcgetattr(master, &settings) != 0) {
    ThrowSystemError("tcgetattr");
  }
  ::cfmakeraw(&settings);
  if (::tcsetattr(master, TCSANOW, &settings) != 0) {
    ThrowSystemError("tcsetattr");
  }
  return master;
}

}  // namespace

PacedTerminal::PacedTerminal(std::optional<std::uint32_t> bits_per_second)
    : master_(OpenMaster()), bits_per_second_(bits_per_second.value_or(0)) {}

PacedTerminal::~PacedTerminal() { ::close(master_); }

std::string PacedTerminal::Path() const {
  std::array<char, 128> path{};
  if (::ptsname_r(master_, path.data(), path.size()) != 0) {
    ThrowSystemError("ptsname_r");
  }
  return path.data();
}

bool PacedTerminal::Wait(std::chrono::milliseconds limit) {
  pollfd polled{master_, POLLIN, 0};
  if (::poll(&polled, 1, static_cast<int>(limit.count())) < 0) {
    ThrowSystemError("poll");
  }
  const int events = polled.revents;
  if ((events & POLLIN) == 0 && (events & POLLHUP) != 0) {
    throw HungUp();
  }
  return (events & POLLIN) != 0;
}

Clock::duration PacedTerminal::LineTime(std::size_t bytes) const {
  if (bits_per_second_ == 0) {
    return {};
  }
  return std::chrono::nanoseconds(bytes * kBitsPerByte * std::nano::den / bits_per_second_);
}

std::size_t PacedTerminal::ReadWhatIsThere(std::span<std::uint8_t> bytes) {
  const ssize_t count = ::read(master_, bytes.data(), bytes.size());
  if (count >= 0) {
    return static_cast<std::size_t>(count);
  }
  if (errno == EAGAIN) {
    return 0;
  }
  if (errno == EIO) {
    throw HungUp();
  }
  ThrowSystemError("read");
}

// Bytes that were there already followed those before them without a gap; bytes that had to be
// waited for begin now.
std::size_t PacedTerminal::ReadSome(std::span<std::uint8_t> bytes) {
  std::size_t count = ReadWhatIsThere(bytes);
  TimePoint start = passed_until_;
  if (count == 0 || answered_) {
    if (count == 0 && !Wait(kLongestSilence)) {
      throw std::runtime_error("the sender is silent");
    }
    const TimePoint now = Clock::now();
    if (answered_) {
      first_byte_time_ = now;
    }
    answered_ = false;
    start = std::max(passed_until_, now);
    if (count == 0) {
      count = ReadWhatIsThere(bytes);
    }
  }
  passed_until_ = start + LineTime(count);
  return count;
}

void PacedTerminal::Read(std::span<std::uint8_t> bytes) {
  while (true) {
    bytes = bytes.subspan(ReadSome(bytes));
    if (bytes.empty()) {
      return;
    }
    if (bits_per_second_ != 0) {
      std::this_thread::sleep_until(std::max(passed_until_, Clock::now() + kShortestNap));
    }
  }
}

void PacedTerminal::Answer(const std::string& text) {
  const TimePoint due = passed_until_ + LineTime(text.size());
  if (bits_per_second_ != 0) {
    std::this_thread::sleep_until(due);
  }
  answer_time_ = Clock::now();
  if (bits_per_second_ != 0) {
    lateness_ += std::max(answer_time_ - due, Clock::duration{});
  }
  passed_until_ = answer_time_;
  answered_ = true;
  if (::write(master_, text.data(), text.size()) < 0) {
    ThrowSystemError("write");
  }
}

void PutThisProcessBeforeAllOthers() {
  constexpr unsigned long kShortestSlackNs = 1;
  ::prctl(PR_SET_TIMERSLACK, kShortestSlackNs);
  const sched_param before_others{1};
  ::sched_setscheduler(0, SCHED_FIFO, &before_others);
}

void PreferThisProcess() {
  constexpr int kBeforeOthers = -15;
  ::setpriority(PRIO_PROCESS, 0, kBeforeOthers);
}

}  // namespace kvo::bench
