#include "boards/ports/TcpConnection.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "boards/UniqueDescriptor.h"
#include "support/RuntimeErrorOf.h"
#include "wire/boards/FailingCall.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::RuntimeErrorOf;
using testing::FailingCall;

constexpr int kLimitMs = 20'000;

int CheckedSocket(int result) {
  if (result == -1) {
    throw std::system_error(errno, std::system_category());
  }
  return result;
}

// A serial server on this machine, at a port number of its own.
class Server {
 public:
  explicit Server(int family = AF_INET, int backlog = 8)
      : listener_(CheckedSocket(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0))) {
    sockaddr_in6 ipv6{};
    ipv6.sin6_family = AF_INET6;
    ipv6.sin6_addr = in6addr_loopback;
    sockaddr_in ipv4{};
    ipv4.sin_family = AF_INET;
    ipv4.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    CheckedSocket(family == AF_INET ? ::bind(listener_.Get(), Plain(&ipv4), sizeof ipv4)
                                    : ::bind(listener_.Get(), Plain(&ipv6), sizeof ipv6));
    CheckedSocket(::listen(listener_.Get(), backlog));
  }

  int Number() const {
    sockaddr_in6 address{};  // the number is where that of IPv4 is
    socklen_t length = sizeof address;
    CheckedSocket(::getsockname(listener_.Get(), Plain(&address), &length));
    return ::ntohs(address.sin6_port);
  }

  std::string Name(const std::string& host = "127.0.0.1") const {
    return "tcp:" + host + ":" + std::to_string(Number());
  }

  void Accept() {
    connection_ = UniqueDescriptor(CheckedSocket(::accept(listener_.Get(), nullptr, nullptr)));
  }
  void Listen(bool listens) {
    if (!listens) {
      listener_.Close();
    }
  }
  void HangUp() { connection_.Close(); }
  void Reset() {
    const linger at_once{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(connection_.Get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    connection_.Close();
  }

  void Send(const std::string& bytes) const {
    EXPECT_EQ(::write(connection_.Get(), bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
  }

  // So many bytes; fewer only at the end.
  std::string Receive(std::size_t count) const {
    std::string received(count, '\0');
    const ssize_t length = ::recv(connection_.Get(), received.data(), count, MSG_WAITALL);
    received.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return received;
  }

 private:
  template <typename Address>
  static sockaddr* Plain(Address* address) {
    return reinterpret_cast<sockaddr*>(address);
  }

  UniqueDescriptor listener_;
  UniqueDescriptor connection_;
};

PortAddress ResolvedPort(const std::string& name) {
  std::vector<PortAddress> ports = {ParsePort(name)};
  Resolve(ports);
  return ports.front();
}

std::unique_ptr<BoardPort> ConnectionTo(const PortAddress& address) {
  return MakePort(address, 115200, std::chrono::milliseconds(kLimitMs));
}

std::ptrdiff_t OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// Opens the port, which must fail, and returns the message.
std::string UnreachableText(const PortAddress& address) {
  const std::ptrdiff_t before = OpenDescriptors();
  const auto port = ConnectionTo(address);
  try {
    port->Open();
    ADD_FAILURE() << "opened";
  } catch (const PortFailure& failure) {
    EXPECT_EQ(failure.GetReason(), Reason::kUnreachable);
    EXPECT_EQ(OpenDescriptors(), before);
    return failure.what();
  }
  return "";
}

void WaitUntilReadable(const BoardPort& port) {
  pollfd ready{.fd = port.GetBorrowed().descriptor, .events = POLLIN, .revents = 0};
  ASSERT_EQ(::poll(&ready, 1, kLimitMs), 1);
}

class TcpConnectionTest : public ::testing::Test {
 protected:
  void Open(const std::string& name) {
    port_ = ConnectionTo(ResolvedPort(name));
    port_->Open();
    server_.Accept();
  }
  void Open() { Open(server_.Name()); }

  Server server_;
  std::unique_ptr<BoardPort> port_;
};

TEST_F(TcpConnectionTest, BytesGoThroughInBothDirections) {
  Open();
  port_->Write("0");
  EXPECT_EQ(server_.Receive(1), "0");
  server_.Send(std::string("A\0", 2));
  EXPECT_EQ(port_->ReadByte(), 'A');
  EXPECT_EQ(port_->ReadByte(), 0);
  EXPECT_TRUE(port_->HasRead());
}

TEST_F(TcpConnectionTest, AnAddressIsOne) {
  EXPECT_EQ(ResolvedPort(server_.Name()).addresses.size(), 1U);
}

TEST_F(TcpConnectionTest, AHostCanBeAName) {
  Open(server_.Name("localhost"));
  port_->Write("0");
  EXPECT_EQ(server_.Receive(1), "0");
}

TEST_F(TcpConnectionTest, BytesGoOutAtOnceAndASilentPeerIsNoticed) {
  Open();
  const auto option = [this](int level, int name) {
    int value = 0;
    socklen_t length = sizeof value;
    EXPECT_EQ(::getsockopt(port_->GetBorrowed().descriptor, level, name, &value, &length), 0);
    return value;
  };
  EXPECT_EQ(option(IPPROTO_TCP, TCP_NODELAY), 1);
  EXPECT_EQ(option(SOL_SOCKET, SO_KEEPALIVE), 1);
  EXPECT_EQ(option(IPPROTO_TCP, TCP_USER_TIMEOUT), 5000);
  EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPIDLE), 2);
  EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPINTVL), 1);
  EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPCNT), 3);
}

TEST_F(TcpConnectionTest, FlushInputDiscardsWhatHasArrived) {
  Open();
  server_.Send("stale");
  WaitUntilReadable(*port_);
  EXPECT_EQ(port_->FlushInput(), 0);
  server_.Send("A");
  EXPECT_EQ(port_->ReadByte(), 'A');
}

TEST_F(TcpConnectionTest, CloseEndsTheConnectionThoughADuplicateIsOpen) {
  Open();
  const UniqueDescriptor duplicate(::dup(port_->GetBorrowed().descriptor));
  port_->Close();
  EXPECT_EQ(server_.Receive(1), "");
}

TEST_F(TcpConnectionTest, AConnectionThatBreaksIsLost) {
  using Operation = std::function<void(BoardPort&)>;
  for (const Operation& operation : {
           Operation([](BoardPort& port) { port.ReadByte(); }),
           Operation([](BoardPort& port) {
             std::string answer;
             port.Read(answer);
           }),
           Operation([](BoardPort& port) { port.FlushInput(); }),
       }) {
    for (const auto end : {&Server::HangUp, &Server::Reset}) {
      Open();
      (server_.*end)();
      WaitUntilReadable(*port_);
      try {
        operation(*port_);
        ADD_FAILURE() << "no failure";
      } catch (const PortFailure& failure) {
        EXPECT_EQ(failure.GetReason(), Reason::kLost) << failure.what();
      }
    }
  }
}

TEST_F(TcpConnectionTest, AWriteToAConnectionThatWasResetIsALoss) {
  Open();
  server_.Reset();
  WaitUntilReadable(*port_);
  EXPECT_THROW(port_->Write("0"), PortFailure);
  EXPECT_THROW(port_->Write("0"), PortFailure);  // without a SIGPIPE
}

TEST_F(TcpConnectionTest, NobodyListeningIsUnreachable) {
  const PortAddress address = ResolvedPort(server_.Name());
  server_.Listen(false);
  EXPECT_EQ(UnreachableText(address), "no connection: Connection refused");
}

TEST_F(TcpConnectionTest, ANameThatLeadsNowhereIsUnreachable) {
  EXPECT_EQ(UnreachableText(ParsePort("tcp:nowhere:1")), "no connection: the host is unknown");
}

TEST_F(TcpConnectionTest, AnotherDeviceIsAnotherAddress) {
  Server other;
  port_ = ConnectionTo(ResolvedPort(other.Name()));
  EXPECT_EQ(port_->SetDevice(server_.Name()), 0U);
  EXPECT_EQ(port_->GetDevice(), server_.Name());
  EXPECT_THROW(port_->SetDevice("/dev/null"), std::invalid_argument);
  port_->Open();
  server_.Accept();
  port_->Write("0");
  EXPECT_EQ(server_.Receive(1), "0");
}

TEST(TcpConnectionOverIpv6Test, ItsAddressStandsInBrackets) {
  Server server(AF_INET6);
  const auto port = ConnectionTo(ResolvedPort(server.Name("[::1]")));
  port->Open();
  server.Accept();
  port->Write("0");
  EXPECT_EQ(server.Receive(1), "0");
}

// A server whose queue is full: the system drops what asks for more.
class SilentServerTest : public ::testing::Test {
 protected:
  SilentServerTest() { filling_->Open(); }

  const Server server_{AF_INET, 0};
  const std::unique_ptr<BoardPort> filling_ = ConnectionTo(ResolvedPort(server_.Name()));
};

TEST_F(SilentServerTest, NoAnswerIsUnreachableAfterSomeTime) {
  EXPECT_EQ(UnreachableText(ResolvedPort(server_.Name())), "no connection: no answer");
}

TEST_F(SilentServerTest, AnAddressThatDoesntAnswerLeavesTimeForTheNext) {
  Server good;
  PortAddress address = ResolvedPort(server_.Name());
  address.addresses.push_back(ResolvedPort(good.Name()).addresses.front());
  const auto port = ConnectionTo(address);
  const auto start = std::chrono::steady_clock::now();
  port->Open();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));  // the whole time
  good.Accept();
  port->Write("0");
  EXPECT_EQ(good.Receive(1), "0");
}

struct FailureOfACall {
  const char* call;
  int error;
  const char* message;
};

TEST(TcpConnectTest, WhicheverCallFailsThereIsNoConnection) {
  const Server server;
  const PortAddress address = ResolvedPort(server.Name());
  for (const FailureOfACall& row : {
           FailureOfACall{"socket", EMFILE, "no connection: Too many open files"},
           {"connect", EACCES, "no connection: Permission denied"},
           {"poll", ENOMEM, "no connection: Cannot allocate memory"},
           {"getsockopt", ENOBUFS, "no connection: No buffer space available"},
           {"setsockopt", ENOPROTOOPT, "no connection: Protocol not available"},
       }) {
    const auto descriptors = OpenDescriptors();
    const FailingCall call(row.call, row.error);
    EXPECT_EQ(RuntimeErrorOf([&] { ConnectionTo(address)->Open(); }), row.message);
    EXPECT_EQ(OpenDescriptors(), descriptors);
  }
}

TEST(TcpConnectTest, ASignalDoesNotEndTheWaitForAConnection) {
  const Server server;
  const auto port = ConnectionTo(ResolvedPort(server.Name()));
  const FailingCall poll("poll", EINTR);
  port->Open();
}

}  // namespace
}  // namespace kvo::boards
