#include "fuzz/Peer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "support/FakeTime.h"

namespace kvo::bootloadertms::testing {

namespace {

PeerSockets* current = nullptr;

}  // namespace

Milliseconds Now() {
  return std::chrono::duration_cast<Milliseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

Peer::Answer Peer::Connect() {
  const Answer answer = answers.front();
  answers.pop_front();
  return answer;
}

int Peer::Read(Milliseconds now, std::string& into, std::size_t most) {
  if (!IsReadable(now)) {
    return -EAGAIN;
  }
  Arrival& next = arrivals.front();
  if (next.bytes.empty()) {
    return -next.end;  // lasting
  }
  into = next.bytes.substr(0, most);
  next.bytes.erase(0, most);
  if (next.bytes.empty()) {
    arrivals.pop_front();
  }
  return static_cast<int>(into.size());
}

int Peer::Send(std::string_view bytes) {
  constexpr std::array kErrors = {EINTR, EAGAIN, EPIPE, ECONNRESET, ETIMEDOUT, ENOBUFS};
  std::size_t room = bytes.size();
  if (!rooms.empty()) {
    const std::uint8_t next = rooms.front();
    rooms.pop_front();
    if (next < kErrors.size()) {
      return -kErrors.at(next);
    }
    room = std::min<std::size_t>(room, next);
  }
  received += bytes.substr(0, room);
  return static_cast<int>(room);
}

PeerSockets::PeerSockets(Peer& peer) : peer_(peer) { current = this; }

PeerSockets::~PeerSockets() { current = nullptr; }

PeerSockets* PeerSockets::Current() { return current; }

PeerSockets* PeerSockets::Of(int descriptor) {
  return current != nullptr && descriptor >= 0 && descriptor == current->descriptor_ ? current
                                                                                     : nullptr;
}

void PeerSockets::Disturb(int times) {
  interrupted_waits_ = times;
  vain_reads_ = times;
}

int PeerSockets::Open() {
  descriptor_ = ::open("/dev/null", O_RDWR | O_CLOEXEC);  // so that it can be closed, or left open
  return descriptor_;
}

int PeerSockets::Connect() {
  connecting_ = peer_.Connect();
  connected_at_ = Now() + connecting_.takes;
  return -connecting_.at_once;
}

int PeerSockets::WaitFor(Milliseconds until, Milliseconds wait) {
  const Milliseconds left = std::clamp(until - Now(), Milliseconds(0), wait);
  if (left > Milliseconds(0) && interrupted_waits_ > 0) {
    --interrupted_waits_;
    FakeTime::Current()->Sleep(left / 2);
    return -EINTR;
  }
  FakeTime::Current()->Sleep(left);
  return until <= Now() ? 1 : 0;
}

int PeerSockets::Poll(pollfd& awaited, int timeout_ms) {
  // What was to be sent and wasn't taken is taken at once.
  Milliseconds ready = connected_at_;
  if ((awaited.events & POLLIN) != 0) {
    ready = peer_.arrivals.empty() ? Milliseconds::max() : peer_.arrivals[0].at;
  }
  const int result =
      WaitFor(ready, timeout_ms < 0 ? Milliseconds::max() : Milliseconds(timeout_ms));
  awaited.revents = result == 1 ? awaited.events : short{0};
  return result;
}

int PeerSockets::ReadAfterWait(char* into, std::size_t most) {
  if (vain_reads_ > 0) {
    --vain_reads_;
    return vain_reads_ % 2 == 0 ? -EAGAIN : -EINTR;
  }
  return Read(into, most);
}

int PeerSockets::Read(char* into, std::size_t most) {
  std::string bytes;
  const int result = peer_.Read(Now(), bytes, most);
  std::memcpy(into, bytes.data(), bytes.size());
  return result;
}

}  // namespace kvo::bootloadertms::testing

namespace {

using kvo::bootloadertms::testing::PeerSockets;

int WithErrno(int result) {
  if (result < 0) {
    errno = -result;
    return -1;
  }
  return result;
}

}  // namespace

// The C library's own names, so that these stand in for them throughout the program.
extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  PeerSockets* peer = PeerSockets::Current();
  return peer == nullptr ? static_cast<int>(::syscall(SYS_socket, domain, type, protocol))
                         : peer->Open();
}

int connect(int descriptor, const struct sockaddr* address, socklen_t length) {
  PeerSockets* peer = PeerSockets::Of(descriptor);
  return peer == nullptr ? static_cast<int>(::syscall(SYS_connect, descriptor, address, length))
                         : WithErrno(peer->Connect());
}

int getsockopt(int descriptor, int level, int option, void* value, socklen_t* length) noexcept {
  const PeerSockets* peer = PeerSockets::Of(descriptor);
  if (peer == nullptr) {
    return static_cast<int>(::syscall(SYS_getsockopt, descriptor, level, option, value, length));
  }
  const int result = peer->ResultOfConnect();
  std::memcpy(value, &result, sizeof result);
  return 0;
}

int setsockopt(int descriptor, int level, int option, const void* value,
               socklen_t length) noexcept {
  return PeerSockets::Of(descriptor) == nullptr
             ? static_cast<int>(::syscall(SYS_setsockopt, descriptor, level, option, value, length))
             : 0;
}

int shutdown(int descriptor, int how) noexcept {
  return PeerSockets::Of(descriptor) == nullptr
             ? static_cast<int>(::syscall(SYS_shutdown, descriptor, how))
             : 0;
}

int poll(struct pollfd* awaited, nfds_t count, int timeout_ms) {
  if (PeerSockets* peer = PeerSockets::Current(); peer != nullptr && count == 1) {
    return WithErrno(peer->Poll(*awaited, timeout_ms));
  }
  const timespec limit{.tv_sec = timeout_ms / 1000, .tv_nsec = timeout_ms % 1000 * 1'000'000L};
  return static_cast<int>(
      ::syscall(SYS_ppoll, awaited, count, timeout_ms < 0 ? nullptr : &limit, nullptr, 0));
}

ssize_t read(int descriptor, void* into, std::size_t most) {
  PeerSockets* peer = PeerSockets::Of(descriptor);
  return peer == nullptr ? ::syscall(SYS_read, descriptor, into, most)
                         : WithErrno(peer->ReadAfterWait(static_cast<char*>(into), most));
}

ssize_t recv(int descriptor, void* into, std::size_t most, int flags) {
  PeerSockets* peer = PeerSockets::Of(descriptor);
  return peer == nullptr ? ::syscall(SYS_recvfrom, descriptor, into, most, flags, nullptr, nullptr)
                         : WithErrno(peer->Read(static_cast<char*>(into), most));
}

ssize_t send(int descriptor, const void* bytes, std::size_t count, int flags) {
  PeerSockets* peer = PeerSockets::Of(descriptor);
  return peer == nullptr ? ::syscall(SYS_sendto, descriptor, bytes, count, flags, nullptr, 0)
                         : WithErrno(peer->Send({static_cast<const char*>(bytes), count}));
}

}  // extern "C"
