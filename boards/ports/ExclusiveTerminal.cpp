#include "boards/ports/ExclusiveTerminal.h"

#include <fcntl.h>
#include <kvo/bootloadertms/LineSettings.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "boards/ports/Holders.h"
#include "boards/ports/Permission.h"

namespace kvo::boards {

namespace {

constexpr std::int32_t kNoTimeout = -1;  // the driver; it is asked for what is there only

PortFailure Busy(dev_t device) {
  const std::optional<Holder> holder = FindHolder(device);
  if (!holder) {
    return {Reason::kBusy, "in use by another program"};
  }
  const std::string program = holder->program.empty() ? "another program" : holder->program;
  return {Reason::kBusy,
          "in use by " + program + " (process " + std::to_string(holder->process) + ")"};
}

// Why the device can't be reached, by `errno`.
PortFailure Unreachable(const struct stat& status) {
  const int error = errno;
  switch (error) {
    case EBUSY:
      return Busy(status.st_rdev);
    case EACCES:
    case EPERM:
      return {Reason::kPermission, PermissionDenied(status)};
    case ENOENT:
      return {Reason::kMissing, "there is no such device"};
    default:
      return {Reason::kMissing, "can't be opened: " + std::system_category().message(error)};
  }
}

struct stat StatusOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == -1) {
    throw Unreachable(status);
  }
  if (!S_ISCHR(status.st_mode)) {
    throw PortFailure(Reason::kNotATerminal, "not a terminal");
  }
  return status;
}

// What has been taken of a terminal so far; gives it back unless it is kept.
class TakenTerminal {
 public:
  TakenTerminal(const std::string& path, const struct stat& status)
      : device_(status.st_rdev),
        descriptor_(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    if (descriptor_ == -1) {
      throw Unreachable(status);
    }
  }
  TakenTerminal(const TakenTerminal&) = delete;
  TakenTerminal& operator=(const TakenTerminal&) = delete;

  ~TakenTerminal() {
    if (descriptor_ == -1) {
      return;
    }
    if (is_configured_) {
      ::tcsetattr(descriptor_, TCSANOW, &found_);
    }
    if (is_exclusive_) {
      ::ioctl(descriptor_, TIOCNXCL);
    }
    ::close(descriptor_);
  }

  void RequireTerminal() const {
    if (::isatty(descriptor_) == 1) {
      return;
    }
    if (errno == EIO) {  // a device file without a device
      throw PortFailure(Reason::kMissing, "the device doesn't answer");
    }
    throw PortFailure(Reason::kNotATerminal, "not a terminal");
  }

  void Lock() {
    int is_exclusive = 0;  // which doesn't keep root out
    if (::ioctl(descriptor_, TIOCGEXCL, &is_exclusive) == 0 && is_exclusive != 0) {
      throw Busy(device_);
    }
    while (::flock(descriptor_, LOCK_EX | LOCK_NB) == -1) {
      if (errno == EWOULDBLOCK) {
        throw Busy(device_);
      }
      ThrowUnlessInterrupted();
    }
    Check(::ioctl(descriptor_, TIOCEXCL));
    is_exclusive_ = true;
    if (FindHolder(device_)) {
      throw Busy(device_);
    }
  }

  void Configure(std::uint32_t baud_rate) {
    Check(::tcgetattr(descriptor_, &found_));
    termios settings = found_;
    bootloadertms::MakeRawLine(settings, bootloadertms::TerminalSpeed(baud_rate), kNoTimeout);
    is_configured_ = true;
    Check(::tcsetattr(descriptor_, TCSANOW, &settings));
    Check(::tcflush(descriptor_, TCIFLUSH));
  }

  Borrowed Keep(std::uint32_t baud_rate) {
    return {.descriptor = std::exchange(descriptor_, -1),
            .is_terminal = true,
            .baud_rate = baud_rate,
            .found = found_};
  }

 private:
  static void ThrowUnlessInterrupted() {
    if (errno != EINTR) {
      throw std::system_error(errno, std::system_category());
    }
  }

  // The device may go at any time.
  static void Check(int result) {
    if (result == -1 && (errno == EIO || errno == ENXIO || errno == ENODEV)) {
      throw PortFailure(Reason::kLost,
                        "the port is gone: " + std::system_category().message(errno));
    }
    if (result == -1) {
      throw std::system_error(errno, std::system_category());
    }
  }

  dev_t device_;
  int descriptor_;
  bool is_exclusive_ = false;
  bool is_configured_ = false;
  termios found_{};
};

}  // namespace

Borrowed ExclusiveTerminal::OpenDescriptor() {
  const std::string path = GetDevice();
  TakenTerminal terminal(path, StatusOf(path));
  terminal.RequireTerminal();
  terminal.Lock();
  terminal.Configure(GetBaudRate());
  return terminal.Keep(GetBaudRate());
}

int ExclusiveTerminal::Discard(int descriptor) { return ::tcflush(descriptor, TCIFLUSH); }

}  // namespace kvo::boards
