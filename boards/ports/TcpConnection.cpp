#include "boards/ports/TcpConnection.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "boards/UniqueDescriptor.h"

namespace kvo::boards {

namespace {

using std::chrono::milliseconds;
using TimePoint = std::chrono::steady_clock::time_point;

constexpr milliseconds kLongestConnect{5000};
// After these a peer that answers nothing counts as gone: so long for what was sent to it, and
// about as long when there was nothing to send.
constexpr int kSilentPeerMs = 5000;
constexpr int kIdleSeconds = 2;
constexpr int kProbeSeconds = 1;
constexpr int kProbes = 3;

PortFailure NoConnection(const std::string& cause) {
  return {Reason::kUnreachable, "no connection: " + cause};
}

void SetOption(int socket, int level, int option, int value) {
  if (::setsockopt(socket, level, option, &value, sizeof value) == -1) {
    throw NoConnection(std::system_category().message(errno));
  }
}

void Configure(int socket) {
  SetOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
  SetOption(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, kSilentPeerMs);
  SetOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
  SetOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, kIdleSeconds);
  SetOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, kProbeSeconds);
  SetOption(socket, IPPROTO_TCP, TCP_KEEPCNT, kProbes);
}

// 0, or what went wrong.
int ResultOfConnect(int socket, TimePoint until) {
  while (true) {
    const auto left = std::chrono::ceil<milliseconds>(until - std::chrono::steady_clock::now());
    pollfd ready{.fd = socket, .events = POLLOUT, .revents = 0};
    const int count = ::poll(&ready, 1, static_cast<int>(std::max(left, milliseconds(0)).count()));
    if (count == 0) {
      return ETIMEDOUT;
    }
    if (count == 1) {
      int error = 0;
      socklen_t length = sizeof error;
      return ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length) == -1 ? errno : error;
    }
    if (errno != EINTR) {
      return errno;
    }
  }
}

int Connect(int socket, const SocketAddress& address, TimePoint until) {
  const auto* const target = reinterpret_cast<const sockaddr*>(&address.address);
  const bool is_refused =
      ::connect(socket, target, address.length) == -1 && errno != EINPROGRESS && errno != EINTR;
  return is_refused ? errno : ResultOfConnect(socket, until);
}

}  // namespace

TcpConnection::TcpConnection(PortAddress address, std::uint32_t baud_rate)
    : BoardPort(address.name, baud_rate), address_(std::move(address)) {}

std::uint32_t TcpConnection::SetDevice(std::string device) {
  std::vector<PortAddress> address = {ParsePort(device)};
  if (!address.front().is_tcp) {
    throw std::invalid_argument("not the address of a TCP connection");
  }
  Resolve(address);
  address_ = std::move(address.front());
  return BoardPort::SetDevice(std::move(device));
}

Borrowed TcpConnection::OpenDescriptor() {
  if (address_.addresses.empty()) {
    throw NoConnection("the host is unknown");
  }
  const TimePoint end = std::chrono::steady_clock::now() + kLongestConnect;
  int error = 0;
  auto untried = static_cast<int>(address_.addresses.size());
  for (const SocketAddress& address : address_.addresses) {
    const TimePoint now = std::chrono::steady_clock::now();
    UniqueDescriptor socket(::socket(address.address.ss_family,
                                     SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP));
    // An address that never answers leaves its share of time to the others.
    error =
        socket.Get() == -1 ? errno : Connect(socket.Get(), address, now + (end - now) / untried);
    if (error == 0) {
      Configure(socket.Get());
      return {.descriptor = socket.Release()};
    }
    --untried;
  }
  throw NoConnection(error == ETIMEDOUT ? "no answer" : std::system_category().message(error));
}

int TcpConnection::Discard(int descriptor) {
  std::array<char, 4096> discarded;
  while (true) {
    const ssize_t count = ::recv(descriptor, discarded.data(), discarded.size(), MSG_DONTWAIT);
    if (count == 0) {
      errno = ECONNRESET;  // the other end has closed
      return -1;
    }
    if (count == -1 && errno != EINTR) {
      return errno == EAGAIN ? 0 : -1;
    }
  }
}

}  // namespace kvo::boards
