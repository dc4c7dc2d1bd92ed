#include <kvo/bootloadertms/TargetProtocol.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>

#include "boards/ports/BoardPort.h"

// Nothing here may call anything that a signal handler may not.
namespace kvo::boards {

namespace {

constexpr int kLongestQueueMs = 300;  // of what may go out before CAN CAN
constexpr int kLongestDrainMs = 400;
constexpr int kLookAgainMs = 5;
constexpr int kAdaptersBufferMs = 20;
constexpr long kBitsPerByte = 10;  // start, eight, stop
constexpr std::array<std::uint8_t, 2> kCancel = {bootloadertms::target::kCancel,
                                                 bootloadertms::target::kCancel};

void Sleep(int milliseconds) {
  timespec left{.tv_sec = 0, .tv_nsec = milliseconds * 1'000'000L};
  while (::nanosleep(&left, &left) == -1 && errno == EINTR) {
  }
}

// Bytes that the system has still to send; 0 if it can't tell.
int Unsent(int descriptor) {
  int count = 0;
  return ::ioctl(descriptor, TIOCOUTQ, &count) == -1 ? 0 : count;
}

bool IsWritable(int descriptor, int wait_ms) {
  pollfd ready{.fd = descriptor, .events = POLLOUT, .revents = 0};
  return ::poll(&ready, 1, wait_ms) == 1 && (ready.revents & POLLOUT) != 0;
}

bool TakesTooLong(int unsent, std::uint32_t baud_rate) {
  return unsent > 0 && unsent * kBitsPerByte * 1000 > long{kLongestQueueMs} * baud_rate;
}

bool CancelOnTerminal(const Borrowed& borrowed) {
  if (TakesTooLong(Unsent(borrowed.descriptor), borrowed.baud_rate) ||
      !IsWritable(borrowed.descriptor, 0)) {
    ::tcflush(borrowed.descriptor, TCOFLUSH);
  }
  return ::write(borrowed.descriptor, kCancel.data(), kCancel.size()) ==
         static_cast<ssize_t>(kCancel.size());
}

void Drain(int descriptor) {
  bool was_empty = true;
  for (int waited_ms = 0; Unsent(descriptor) > 0; waited_ms += kLookAgainMs) {
    if (waited_ms >= kLongestDrainMs) {
      ::tcflush(descriptor, TCOFLUSH);  // else the close would wait for it
      break;
    }
    was_empty = false;
    Sleep(kLookAgainMs);
  }
  if (!was_empty) {
    Sleep(kAdaptersBufferMs);
  }
}

bool GiveTerminalBack(const Borrowed& borrowed, bool in_transfer) {
  const bool is_told = !in_transfer || CancelOnTerminal(borrowed);
  Drain(borrowed.descriptor);
  const bool is_restored = ::tcsetattr(borrowed.descriptor, TCSANOW, &borrowed.found) == 0;
  const bool is_unlocked = ::ioctl(borrowed.descriptor, TIOCNXCL) == 0;
  return is_told && is_restored && is_unlocked;
}

void GiveConnectionBack(const Borrowed& borrowed, bool in_transfer) {
  if (in_transfer && IsWritable(borrowed.descriptor, kLongestQueueMs)) {
    static_cast<void>(
        ::send(borrowed.descriptor, kCancel.data(), kCancel.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
  }
  ::shutdown(borrowed.descriptor, SHUT_WR);
  // What is left unread would reset the connection, and CAN CAN be lost at its other end.
  std::array<char, 512> unread;
  for (int reads = 64;
       reads > 0 && ::recv(borrowed.descriptor, unread.data(), unread.size(), MSG_DONTWAIT) > 0;
       --reads) {
  }
}

}  // namespace

bool GiveBack(const Borrowed& borrowed, bool in_transfer) noexcept {
  const int error = errno;
  bool is_given_back = true;
  if (borrowed.descriptor != -1 && borrowed.is_terminal) {
    is_given_back = GiveTerminalBack(borrowed, in_transfer);
  } else if (borrowed.descriptor != -1) {
    GiveConnectionBack(borrowed, in_transfer);
  }
  errno = error;
  return is_given_back;
}

}  // namespace kvo::boards
