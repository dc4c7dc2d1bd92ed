#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <string>
#include <vector>

namespace kvo::boards {

// An address that a host's name has led to.
struct SocketAddress {
  sockaddr_storage address{};
  socklen_t length = 0;
};

// Where a board is: a terminal device, or a serial server's raw TCP connection.
struct PortAddress {
  std::string name;  // as on the command line

  bool is_tcp = false;
  // Of TCP only; no addresses: the host's name leads nowhere.
  std::string host;
  std::uint16_t number = 0;
  std::vector<SocketAddress> addresses;
};

// A path, "tcp:HOST:PORT" or "tcp:[IPV6]:PORT". Nothing is looked up. Throws
// `std::invalid_argument` with a text of one line for a `tcp:` that is none of these, and for an
// empty path.
PortAddress ParsePort(const std::string& name);

// Fills in the addresses of all TCP ports, five seconds at most.
void Resolve(std::vector<PortAddress>& ports);

// Whether both lead to the same device or the same TCP address, under whatever names.
bool IsSamePort(const PortAddress& one, const PortAddress& other);

}  // namespace kvo::boards
