#include "simulator/SocketLine.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "simulator/Waiting.h"

namespace kvo::boardsimulator {
namespace {

namespace fs = std::filesystem;

std::runtime_error CannotListen(const fs::path& path, const std::string& reason) {
  return std::runtime_error("cannot listen at " + path.string() + ": " + reason);
}

sockaddr_un AddressOf(const fs::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string& text = path.native();
  if (text.size() >= sizeof address.sun_path) {
    throw CannotListen(path, "the path is too long");
  }
  text.copy(address.sun_path, text.size());
  return address;
}

void RemoveStaleSocket(const fs::path& path) {
  std::error_code ignored;
  if (fs::is_socket(fs::symlink_status(path, ignored))) {
    fs::remove(path, ignored);
  }
}

UniqueDescriptor ListenAt(const fs::path& path) {
  const sockaddr_un address = AddressOf(path);
  RemoveStaleSocket(path);
  UniqueDescriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (::bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener.Get(), 1) != 0) {
    throw CannotListen(path, std::generic_category().message(errno));
  }
  return listener;
}

}  // namespace

SocketLine::SocketLine(fs::path path, int stop_descriptor)
    : path_(std::move(path)), stop_descriptor_(stop_descriptor), listener_(ListenAt(path_)) {}

SocketLine::~SocketLine() {
  std::error_code ignored;
  fs::remove(path_, ignored);
}

std::size_t SocketLine::Read(std::span<std::uint8_t> into, TimePoint until) {
  while (HasHost(until)) {
    try {
      return host_->Read(into, until);
    } catch (const ServingEnded& end) {
      LoseHost(end);
    }
  }
  return 0;
}

void SocketLine::Write(std::span<const std::uint8_t> bytes) {
  if (!host_) {
    return;
  }
  try {
    host_->Write(bytes);
  } catch (const ServingEnded& end) {
    LoseHost(end);
  }
}

void SocketLine::WaitUntil(TimePoint until) {
  if (until > Now()) {
    WaitForEvents(-1, 0, stop_descriptor_, until);
  }
}

// Goes on without the host if it has closed its end; any other end of the serving goes on up.
void SocketLine::LoseHost(const ServingEnded& end) {
  if (end.Reason() != EndReason::kPeerClosed) {
    throw end;
  }
  host_.reset();
  ++departures_;
}

// Waits for a host, at most until `until`, if none is connected.
bool SocketLine::HasHost(TimePoint until) {
  while (!host_ && WaitForEvents(listener_.Get(), POLLIN, stop_descriptor_, until) != 0) {
    UniqueDescriptor host(::accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (host.Get() >= 0) {
      host_.emplace(std::move(host), stop_descriptor_);
    }
  }
  return host_.has_value();
}

}  // namespace kvo::boardsimulator
