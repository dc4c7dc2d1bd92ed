#include "boards/ports/PortAddress.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <tuple>

namespace kvo::boards {

namespace {

using TimePoint = std::chrono::steady_clock::time_point;

constexpr std::string_view kTcp = "tcp:";
constexpr std::chrono::seconds kLongestLookUp{5};

bool IsControl(char character) {
  const auto code = static_cast<unsigned char>(character);
  return code < ' ' || code == 0x7F;
}

[[noreturn]] void Refuse(std::string name, const char* why) {
  std::replace_if(name.begin(), name.end(), IsControl, '?');  // one line
  throw std::invalid_argument(name + ": " + why);
}

bool IsIpv6(const std::string& host) {
  in6_addr address{};
  return ::inet_pton(AF_INET6, host.substr(0, host.find('%')).c_str(), &address) == 1;
}

// From "HOST" with its brackets, if any.
std::string ParseHost(const std::string& name, std::string_view text) {
  if (text.starts_with('[')) {
    std::string host(text.substr(1, text.size() - 2));
    if (!text.ends_with(']') || !IsIpv6(host)) {
      Refuse(name, "no IPv6 address in the brackets");
    }
    return host;
  }
  if (text.empty()) {
    Refuse(name, "no host");
  }
  if (text.find(':') != std::string_view::npos) {
    Refuse(name, "an IPv6 address needs brackets, tcp:[HOST]:PORT");
  }
  if (std::any_of(text.begin(), text.end(), [](char c) { return c == ' ' || IsControl(c); })) {
    Refuse(name, "not a host name");
  }
  return std::string(text);
}

std::uint16_t ParseNumber(const std::string& name, std::string_view text) {
  std::uint16_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number == 0) {
    Refuse(name, "the port number must be 1 to 65535");
  }
  return number;
}

PortAddress ParseTcp(const std::string& name) {
  const std::string_view text = std::string_view(name).substr(kTcp.size());
  const std::size_t colon = text.rfind(':');
  // The last colon of "[::1]" heads no number.
  const std::size_t bracket = text.rfind(']');
  if (colon == std::string_view::npos || colon + 1 == text.size() ||
      (bracket != std::string_view::npos && bracket > colon)) {
    Refuse(name, "no port number");
  }
  PortAddress port;
  port.name = name;
  port.is_tcp = true;
  port.host = ParseHost(name, text.substr(0, colon));
  port.number = ParseNumber(name, text.substr(colon + 1));
  return port;
}

// One port's question to the system's name service, which keeps pointers to it while it works.
class LookUp {
 public:
  explicit LookUp(const PortAddress& port)
      : host_(port.host), service_(std::to_string(port.number)) {
    hints_.ai_flags = AI_NUMERICSERV;
    hints_.ai_socktype = SOCK_STREAM;
    request_.ar_name = host_.c_str();
    request_.ar_service = service_.c_str();
    request_.ar_request = &hints_;
  }
  LookUp(const LookUp&) = delete;
  LookUp& operator=(const LookUp&) = delete;
  ~LookUp() {
    if (request_.ar_result != nullptr) {
      ::freeaddrinfo(request_.ar_result);
    }
  }

  gaicb* Request() { return &request_; }

  std::vector<SocketAddress> Addresses() const {
    std::vector<SocketAddress> addresses;
    for (const addrinfo* found = request_.ar_result; found != nullptr; found = found->ai_next) {
      SocketAddress& address = addresses.emplace_back();
      address.length = found->ai_addrlen;
      std::memcpy(&address.address, found->ai_addr, found->ai_addrlen);
    }
    return addresses;
  }

 private:
  std::string host_;
  std::string service_;
  addrinfo hints_{};
  gaicb request_{};
};

using LookUps = std::vector<std::pair<PortAddress*, std::unique_ptr<LookUp>>>;

void WaitFor(gaicb* request, TimePoint until) {
  while (::gai_error(request) == EAI_INPROGRESS) {
    const auto left = until - TimePoint::clock::now();
    if (left <= TimePoint::duration(0)) {
      return;
    }
    const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    const timespec limit{.tv_sec = seconds.count(), .tv_nsec = (left - seconds).count()};
    ::gai_suspend(&request, 1, &limit);
  }
}

// All at once; each goes on by itself.
void Start(const LookUps& look_ups) {
  std::vector<gaicb*> requests;
  for (const auto& [port, look_up] : look_ups) {
    requests.push_back(look_up->Request());
  }
  ::getaddrinfo_a(GAI_NOWAIT, requests.data(), static_cast<int>(requests.size()), nullptr);
}

// Takes what has come until then.
void Collect(LookUps& look_ups, TimePoint until) {
  for (auto& [port, look_up] : look_ups) {
    WaitFor(look_up->Request(), until);
    ::gai_cancel(look_up->Request());
    switch (::gai_error(look_up->Request())) {
      case EAI_INPROGRESS:
        // Deliberate: never freed, as the system may still write to it.
        static_cast<void>(look_up.release());
        break;
      case 0:
        port->addresses = look_up->Addresses();
        break;
      default:
        break;
    }
  }
}

// The same for an IPv4 address and the IPv6 address that stands for it.
std::tuple<std::string, std::uint32_t> HostOf(const SocketAddress& address) {
  in6_addr host{};
  std::uint32_t scope = 0;
  if (address.address.ss_family == AF_INET) {
    host.s6_addr[10] = host.s6_addr[11] = 0xFF;
    std::memcpy(&host.s6_addr[12], &reinterpret_cast<const sockaddr_in&>(address.address).sin_addr,
                4);
  } else {
    const auto& ipv6 = reinterpret_cast<const sockaddr_in6&>(address.address);
    host = ipv6.sin6_addr;
    scope = ipv6.sin6_scope_id;
  }
  return {std::string(reinterpret_cast<const char*>(&host), sizeof host), scope};
}

bool IsSameServer(const PortAddress& one, const PortAddress& other) {
  if (one.number != other.number) {
    return false;
  }
  return ::strcasecmp(one.host.c_str(), other.host.c_str()) == 0 ||
         std::any_of(one.addresses.begin(), one.addresses.end(), [&](const SocketAddress& mine) {
           return std::any_of(
               other.addresses.begin(), other.addresses.end(),
               [&](const SocketAddress& its) { return HostOf(mine) == HostOf(its); });
         });
}

std::optional<struct stat> FileStatusOf(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

std::filesystem::path PlainPath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  const std::filesystem::path plain = std::filesystem::weakly_canonical(absolute, error);
  return error ? absolute.lexically_normal() : plain;
}

bool IsSameFile(const std::string& one, const std::string& other) {
  const std::optional<struct stat> first = FileStatusOf(one);
  const std::optional<struct stat> second = FileStatusOf(other);
  if (first.has_value() != second.has_value()) {
    return false;
  }
  if (!first) {
    return PlainPath(one) == PlainPath(other);
  }
  if (S_ISCHR(first->st_mode) && S_ISCHR(second->st_mode)) {
    return first->st_rdev == second->st_rdev;
  }
  return first->st_dev == second->st_dev && first->st_ino == second->st_ino;
}

}  // namespace

PortAddress ParsePort(const std::string& name) {
  if (name.empty()) {
    throw std::invalid_argument("a port's name is empty");
  }
  if (name.starts_with(kTcp)) {
    return ParseTcp(name);
  }
  PortAddress port;
  port.name = name;
  return port;
}

void Resolve(std::vector<PortAddress>& ports) {
  LookUps look_ups;
  for (PortAddress& port : ports) {
    if (port.is_tcp) {
      look_ups.emplace_back(&port, std::make_unique<LookUp>(port));
    }
  }
  if (!look_ups.empty()) {
    Start(look_ups);
    Collect(look_ups, TimePoint::clock::now() + kLongestLookUp);
  }
}

bool IsSamePort(const PortAddress& one, const PortAddress& other) {
  if (one.is_tcp || other.is_tcp) {
    return one.is_tcp && other.is_tcp && IsSameServer(one, other);
  }
  return IsSameFile(one.name, other.name);
}

}  // namespace kvo::boards
