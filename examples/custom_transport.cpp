// Uploads an image over the network, to a board on a serial server: an `ISerialPort` of its own,
// here a TCP connection, is handed to the client in place of a serial port of this machine.
//
//   custom_transport HOST:PORT IMAGE
//   custom_transport 192.0.2.7:4000 fw_tv.bin
//
// A serial server can be another Linux machine; the speed of the line is set there. Whoever reaches
// the address that it listens on may flash the board, so it is to be one of a network you trust:
//
//   socat TCP-LISTEN:4000,bind=192.0.2.7,nodelay FILE:/dev/ttyUSB0,b115200,rawer
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include <kvo/bootloadertms/Baudrate.h>
#include <kvo/bootloadertms/BootLoader.h>
#include <kvo/bootloadertms/ISerialPort.h>

namespace {

using kvo::bootloadertms::Baudrate;
using kvo::bootloadertms::BootLoader;
using kvo::bootloadertms::ISerialPort;

[[noreturn]] void ThrowSystemError(int error, const std::string& what) {
  throw std::system_error(error, std::system_category(), what);
}

using Addresses = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

// Of "HOST:PORT"; there is one at least.
Addresses AddressesOf(const std::string& device) {
  const std::size_t colon = device.rfind(':');
  if (colon == std::string::npos) {
    throw std::runtime_error("Not of the form HOST:PORT: " + device);
  }
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* first = nullptr;
  const int error = ::getaddrinfo(device.substr(0, colon).c_str(), device.substr(colon + 1).c_str(),
                                  &wanted, &first);
  if (error != 0) {
    throw std::runtime_error("Can't find " + device + ": " + ::gai_strerror(error));
  }
  return {first, &::freeaddrinfo};
}

// A connected socket, to the first address that accepts.
int ConnectTo(const std::string& device) {
  const Addresses addresses = AddressesOf(device);
  int cause = 0;
  for (const addrinfo* address = addresses.get(); address != nullptr; address = address->ai_next) {
    const int socket =
        ::socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC, address->ai_protocol);
    if (socket != -1 && ::connect(socket, address->ai_addr, address->ai_addrlen) == 0) {
      return socket;
    }
    cause = errno;
    if (socket != -1) {
      ::close(socket);
    }
  }
  ThrowSystemError(cause, "Can't connect to " + device);
}

// Each byte is written by itself, and a packet's last ones must not wait for others to come.
void SendWithoutDelay(int socket) {
  const int on = 1;
  ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// A TCP connection whose device is "HOST:PORT". The speed is the serial server's matter: the rate
// is kept for those who ask for it, and nothing else.
//
// A connection that was lost is a failure of each operation, `ReadByte` too: an upload that waits
// for its board would not notice otherwise, and wait indefinitely.
class TcpPort : public ISerialPort {
 public:
  explicit TcpPort(std::string device) : device_(std::move(device)) {}
  ~TcpPort() override { TcpPort::Close(); }

  std::uint32_t SetDevice(std::string device) override {
    device_ = std::move(device);
    return 0;
  }
  std::string GetDevice() override { return device_; }

  std::uint32_t SetBaudRate(std::uint32_t rate) override {
    baud_rate_.SetValue(rate);
    return 0;
  }
  std::uint32_t GetBaudRate() override { return baud_rate_.GetValue(); }

  void SetTimeout(std::int32_t timeout_ms) override {
    if (IsOpen()) {
      throw std::runtime_error("The time-out of an open connection stays as it is");
    }
    if (timeout_ms < -1 || timeout_ms > 25500) {
      throw std::runtime_error("Not a time-out: " + std::to_string(timeout_ms));
    }
    timeout_ms_ = timeout_ms;
  }

  int SetOptionFlag(bool /*flag*/) override { return 0; }

  void Open() override {
    Close();
    socket_ = ConnectTo(device_);
    SendWithoutDelay(socket_);
  }

  int Close() override {
    if (IsOpen()) {
      ::close(socket_);
      socket_ = kClosed;
    }
    return 0;
  }

  std::int64_t Write(const std::string& data) override { return Send(data.data(), data.size()); }

  void WriteSlowly(const std::string& data, std::uint32_t delay_ms) override {
    for (const char& byte : data) {
      Send(&byte, 1);
      std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
    }
  }

  void Read(std::string& data) override {
    data.clear();
    data = Receive(255);
    if (!data.empty()) {
      data += '\0';  // as the interface wants it
    }
  }

  void WriteByte(std::uint8_t byte) override { Send(&byte, 1); }

  std::uint8_t ReadByte() override {
    const std::string received = Receive(1);
    return received.empty() ? 0 : static_cast<std::uint8_t>(received.front());
  }

  int FlushInput() override {
    RequireOpen();
    std::array<char, 255> discarded{};
    ssize_t count = 0;
    do {
      count = ::recv(socket_, discarded.data(), discarded.size(), MSG_DONTWAIT);
    } while (count > 0);
    return count == -1 && errno == EAGAIN ? 0 : -1;
  }

 private:
  static constexpr int kClosed = -1;

  bool IsOpen() const { return socket_ != kClosed; }

  void RequireOpen() const {
    if (!IsOpen()) {
      throw std::runtime_error("Not connected to " + device_);
    }
  }

  std::int64_t Send(const void* bytes, std::size_t count) const {
    RequireOpen();
    // No signal: it would end the program in place of an exception.
    const ssize_t sent = ::send(socket_, bytes, count, MSG_NOSIGNAL);
    if (sent == -1) {
      ThrowSystemError(errno, "Can't write to " + device_);
    }
    return sent;
  }

  // What has arrived within the time-out, `most` bytes of it at most; empty when nothing has.
  std::string Receive(std::size_t most) const {
    RequireOpen();
    pollfd arriving{.fd = socket_, .events = POLLIN, .revents = 0};
    const int ready = ::poll(&arriving, 1, timeout_ms_);
    if (ready == 0) {
      return "";
    }
    std::string bytes(most, '\0');
    const ssize_t count = ready == -1 ? -1 : ::recv(socket_, bytes.data(), bytes.size(), 0);
    if (count == -1) {
      ThrowSystemError(errno, "Can't read from " + device_);
    }
    if (count == 0) {
      throw std::runtime_error(device_ + " has closed the connection");
    }
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
  }

  std::string device_;
  Baudrate baud_rate_;
  std::int32_t timeout_ms_ = -1;
  int socket_ = kClosed;
};

// The client takes over a port that is open and has its time-out.
std::unique_ptr<ISerialPort> OpenPort(const std::string& device) {
  // The 100 ms of a local line would be too short: the network takes a packet at once, the line
  // at its other end takes a while for it, and only then can the board answer.
  constexpr std::int32_t kReadTimeoutMs = 1000;
  auto port = std::make_unique<TcpPort>(device);
  port->SetTimeout(kReadTimeoutMs);
  port->Open();
  return port;
}

void Upload(const std::string& device, const std::string& image) {
  BootLoader board(OpenPort(device));
  board.ActivateBootloader();
  board.UploadImage(image);
  board.ActivateApplication();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "Usage: custom_transport HOST:PORT IMAGE\n";
    return EXIT_FAILURE;
  }
  try {
    Upload(argv[1], argv[2]);
  } catch (const std::exception& error) {
    std::cerr << "custom_transport: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
