#include "program/TcpPeer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace kvo::bootloadertms::testing {

namespace {

int Checked(int result, const char* what) {
  if (result == -1) {
    throw std::system_error(errno, std::system_category(), what);
  }
  return result;
}

void WaitForInput(int descriptor, const char* what) {
  constexpr int kLimitMs = 60'000;
  pollfd ready{.fd = descriptor, .events = POLLIN, .revents = 0};
  if (Checked(::poll(&ready, 1, kLimitMs), "poll") == 0) {
    throw std::runtime_error(std::string("no ") + what);
  }
}

}  // namespace

TcpPeer::TcpPeer()
    : listener_(Checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  auto* const any = reinterpret_cast<sockaddr*>(&address);
  Checked(::bind(listener_, any, length), "bind");
  Checked(::getsockname(listener_, any, &length), "getsockname");
  address_ = "127.0.0.1:" + std::to_string(::ntohs(address.sin_port));
}

TcpPeer::~TcpPeer() {
  HangUp();
  ::close(listener_);
}

const std::string& TcpPeer::Address() const { return address_; }

void TcpPeer::Listen() const { Checked(::listen(listener_, 1), "listen"); }

void TcpPeer::Accept() {
  WaitForInput(listener_, "connection");
  connection_ = Checked(::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC), "accept");
}

std::string TcpPeer::Receive(std::size_t count) const {
  std::string received;
  while (received.size() < count) {
    WaitForInput(connection_, "bytes");
    std::string piece(count - received.size(), '\0');
    const ssize_t length = ::recv(connection_, piece.data(), piece.size(), 0);
    if (length <= 0) {
      break;
    }
    received.append(piece, 0, static_cast<std::size_t>(length));
  }
  return received;
}

void TcpPeer::Send(const std::string& bytes) const {
  if (::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(bytes.size())) {
    throw std::runtime_error("the connection took fewer bytes");
  }
}

void TcpPeer::HangUp() {
  if (connection_ != -1) {
    ::close(connection_);
    connection_ = -1;
  }
}

}  // namespace kvo::bootloadertms::testing
