#include "support/TestTerminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <thread>

namespace kvo::bootloadertms::testing {

namespace {

constexpr std::chrono::milliseconds kLookAgain{5};

int Checked(int result, const char* what) {
  if (result == -1) {
    throw std::system_error(errno, std::system_category(), what);
  }
  return result;
}

}  // namespace

TestTerminal::TestTerminal() : far_end_(Checked(::posix_openpt(O_RDWR | O_NOCTTY), "openpt")) {
  Checked(::fcntl(far_end_, F_SETFD, FD_CLOEXEC), "fcntl");
  Checked(::grantpt(far_end_), "grantpt");
  Checked(::unlockpt(far_end_), "unlockpt");
  std::array<char, 128> name{};
  if (::ptsname_r(far_end_, name.data(), name.size()) != 0) {
    throw std::runtime_error("ptsname_r failed");
  }
  path_ = name.data();
}

TestTerminal::~TestTerminal() { HangUp(); }

const std::string& TestTerminal::Path() const { return path_; }

termios TestTerminal::Settings() const {
  termios settings{};
  Checked(::tcgetattr(far_end_, &settings), "tcgetattr");
  return settings;
}

void TestTerminal::SetSettings(const termios& settings) const {
  Checked(::tcsetattr(far_end_, TCSANOW, &settings), "tcsetattr");
}

void TestTerminal::Send(const std::string& bytes) const {
  if (::write(far_end_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
    throw std::runtime_error("the pseudo-terminal took fewer bytes");
  }
}

void TestTerminal::Pour(const std::string& bytes) const {
  Checked(::fcntl(far_end_, F_SETFL, O_RDWR | O_NONBLOCK), "fcntl");
  [[maybe_unused]] const ssize_t poured = ::write(far_end_, bytes.data(), bytes.size());
  Checked(::fcntl(far_end_, F_SETFL, O_RDWR), "fcntl");
}

void TestTerminal::WaitUntilRead() const {
  const int near_end = Checked(::open(path_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK), "open");
  for (int unread = 1; unread > 0;) {
    std::this_thread::sleep_for(kLookAgain);
    pollfd ready{.fd = near_end, .events = POLLIN, .revents = 0};
    ::poll(&ready, 1, 0);  // so that what is still on its way is counted
    Checked(::ioctl(near_end, FIONREAD, &unread), "FIONREAD");
  }
  ::close(near_end);
}

std::string TestTerminal::Receive(std::size_t count, std::chrono::milliseconds limit) const {
  using std::chrono::steady_clock;
  const auto deadline = steady_clock::now() + limit;
  std::string received;
  while (received.size() < count) {
    const std::string piece = ReceivePiece(count - received.size());
    received += piece;
    // After the attempt, so that what is there is found however late this process is.
    if (piece.empty() && steady_clock::now() >= deadline) {
      break;
    }
  }
  return received;
}

std::string TestTerminal::ReceivePiece(std::size_t most) const {
  pollfd ready{.fd = far_end_, .events = POLLIN, .revents = 0};
  ::poll(&ready, 1, 10);
  if ((ready.revents & POLLIN) == 0) {
    if ((ready.revents & POLLHUP) != 0) {
      std::this_thread::sleep_for(kLookAgain);  // nobody has the near end open
    }
    return "";
  }
  std::array<char, 4096> piece{};
  const ssize_t length = ::read(far_end_, piece.data(), std::min(piece.size(), most));
  return {piece.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

void TestTerminal::HangUp() {
  if (far_end_ != -1) {
    ::close(far_end_);
    far_end_ = -1;
  }
}

}  // namespace kvo::bootloadertms::testing
