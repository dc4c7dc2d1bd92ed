#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <system_error>

#include "boards/UniqueDescriptor.h"
#include "boards/ports/BoardPort.h"

namespace kvo::boards::testing {

// A pair of connected sockets that keep writes apart: what one write sends, one read gets.
struct SocketPair {
  explicit SocketPair(int type = SOCK_SEQPACKET) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()) == -1) {
      throw std::system_error(errno, std::system_category());
    }
    near = UniqueDescriptor(ends[0]);
    far = UniqueDescriptor(ends[1]);
  }

  void Send(const std::string& bytes) const {
    ASSERT_EQ(::write(far.Get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }

  // What one write has sent; empty after the end, nothing when nothing is there.
  std::optional<std::string> Receive() const {
    std::string received(1 << 16, '\0');
    const ssize_t count = ::read(far.Get(), received.data(), received.size());
    if (count == -1) {
      return std::nullopt;
    }
    received.resize(static_cast<std::size_t>(count));
    return received;
  }

  UniqueDescriptor near;
  UniqueDescriptor far;
};

// A port on the near end of a pair, which passes for either kind.
class SocketPort : public BoardPort {
 public:
  SocketPort(UniqueDescriptor socket, bool is_terminal)
      : BoardPort("socket", 115200), socket_(std::move(socket)), is_terminal_(is_terminal) {
    SetTimeout(0);
  }

 protected:
  Borrowed OpenDescriptor() override {
    return {.descriptor = socket_.Release(), .is_terminal = is_terminal_, .baud_rate = 115200};
  }
  int Discard(int /*descriptor*/) override { return 0; }

 private:
  UniqueDescriptor socket_;
  bool is_terminal_;
};

}  // namespace kvo::boards::testing
