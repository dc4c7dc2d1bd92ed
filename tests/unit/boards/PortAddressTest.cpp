#include "boards/ports/PortAddress.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace kvo::boards {
namespace {

TEST(PortAddressTest, APathIsADeviceWhateverItSays) {
  for (const std::string path : {"/dev/ttyUSB0", "relative", "/dev/x;reboot", "./tcp:host:1"}) {
    const PortAddress port = ParsePort(path);
    EXPECT_EQ(port.name, path);
    EXPECT_FALSE(port.is_tcp);
  }
}

struct TcpName {
  const char* name;
  const char* host;
  std::uint16_t number;
};

TEST(PortAddressTest, ATcpPortHasAHostAndANumber) {
  for (const TcpName& row : {TcpName{"tcp:server:4000", "server", 4000},
                             {"tcp:10.0.0.7:1", "10.0.0.7", 1},
                             {"tcp:a-b.example.org:65535", "a-b.example.org", 65535},
                             {"tcp:[::1]:4000", "::1", 4000},
                             {"tcp:[fe80::1%eth0]:80", "fe80::1%eth0", 80}}) {
    const PortAddress port = ParsePort(row.name);
    EXPECT_EQ(port.name, row.name);
    EXPECT_TRUE(port.is_tcp) << row.name;
    EXPECT_EQ(port.host, row.host);
    EXPECT_EQ(port.number, row.number) << row.name;
    EXPECT_TRUE(port.addresses.empty()) << row.name;
  }
}

struct Refusal {
  const char* name;
  const char* text;
};

TEST(PortAddressTest, AMalformedPortIsRefusedInOneLine) {
  for (const Refusal& row : {
           Refusal{"", "a port's name is empty"},
           {"tcp:", "tcp:: no port number"},
           {"tcp:host", "tcp:host: no port number"},
           {"tcp:host:", "tcp:host:: no port number"},
           {"tcp:[::1]", "tcp:[::1]: no port number"},
           {"tcp::4000", "tcp::4000: no host"},
           {"tcp:host:0", "tcp:host:0: the port number must be 1 to 65535"},
           {"tcp:host:65536", "tcp:host:65536: the port number must be 1 to 65535"},
           {"tcp:host:-1", "tcp:host:-1: the port number must be 1 to 65535"},
           {"tcp:host:40x", "tcp:host:40x: the port number must be 1 to 65535"},
           {"tcp:host: 40", "tcp:host: 40: the port number must be 1 to 65535"},
           {"tcp:::1:40", "tcp:::1:40: an IPv6 address needs brackets, tcp:[HOST]:PORT"},
           {"tcp:[host]:40", "tcp:[host]:40: no IPv6 address in the brackets"},
           {"tcp:[:40", "tcp:[:40: no IPv6 address in the brackets"},
           {"tcp:[]:40", "tcp:[]:40: no IPv6 address in the brackets"},
           {"tcp:two hosts:40", "tcp:two hosts:40: not a host name"},
           {"tcp:a\nb:40", "tcp:a?b:40: not a host name"},
       }) {
    try {
      ParsePort(row.name);
      ADD_FAILURE() << "taken: " << row.name;
    } catch (const std::invalid_argument& error) {
      EXPECT_STREQ(error.what(), row.text);
    }
  }
}

TEST(PortAddressTest, TheSameHostTextAndNumberAreOnePortThoughNobodyKnowsTheHost) {
  EXPECT_TRUE(IsSamePort(ParsePort("tcp:Server:4000"), ParsePort("tcp:server:4000")));
  EXPECT_FALSE(IsSamePort(ParsePort("tcp:server:4000"), ParsePort("tcp:server:4001")));
  EXPECT_FALSE(IsSamePort(ParsePort("tcp:server:4000"), ParsePort("tcp:other:4000")));
  EXPECT_FALSE(IsSamePort(ParsePort("tcp:server:4000"), ParsePort("server:4000")));
}

}  // namespace
}  // namespace kvo::boards
