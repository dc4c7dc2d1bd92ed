#include "support/HostPort.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <stdexcept>

namespace kvo::boardsimulator {
namespace {

constexpr int kNothingWillComeAfterMs = 30'000;

bool IsReadable(int descriptor, int timeout_ms) {
  pollfd polled{descriptor, POLLIN, 0};
  return ::poll(&polled, 1, timeout_ms) == 1;
}

}  // namespace

SocketPair::SocketPair() {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw std::runtime_error("no sockets");
  }
  first = UniqueDescriptor(ends[0]);
  second = UniqueDescriptor(ends[1]);
}

HostPort HostPort::Open(const std::string& device) {
  UniqueDescriptor descriptor(::open(device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  if (::tcgetattr(descriptor.Get(), &settings) != 0) {
    throw std::runtime_error("cannot open " + device);
  }
  ::cfmakeraw(&settings);
  if (::tcsetattr(descriptor.Get(), TCSANOW, &settings) != 0) {
    throw std::runtime_error("cannot make raw " + device);
  }
  return HostPort(std::move(descriptor));
}

HostPort HostPort::Connect(const std::string& socket) {
  UniqueDescriptor descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  socket.copy(address.sun_path, sizeof address.sun_path - 1);
  if (::connect(descriptor.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
      0) {
    throw std::runtime_error("cannot connect to " + socket);
  }
  return HostPort(std::move(descriptor));
}

void HostPort::Send(const Bytes& bytes) {
  std::span<const std::uint8_t> rest = bytes;
  while (!rest.empty()) {
    const ssize_t count = ::write(descriptor_.Get(), rest.data(), rest.size());
    if (count < 0) {
      throw std::runtime_error("the board's line is gone");
    }
    rest = rest.subspan(static_cast<std::size_t>(count));
  }
}

Bytes HostPort::Receive(std::size_t count) { return ReceivePieces(count, kNothingWillComeAfterMs); }

Bytes HostPort::ReceiveWhatIsThere() {
  return ReceivePieces(std::numeric_limits<std::size_t>::max(), 0);
}

Bytes HostPort::ReceivePieces(std::size_t count, int timeout_ms) {
  Bytes all;
  std::array<std::uint8_t, 4096> piece{};
  while (all.size() < count && IsReadable(descriptor_.Get(), timeout_ms)) {
    const ssize_t got =
        ::read(descriptor_.Get(), piece.data(), std::min(piece.size(), count - all.size()));
    if (got <= 0) {
      break;
    }
    all.insert(all.end(), piece.begin(), piece.begin() + got);
  }
  return all;
}

}  // namespace kvo::boardsimulator
