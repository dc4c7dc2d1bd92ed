// Uploads an image over a transport of its own: an `ISerialPort`, here a Unix socket as emulators
// have it for a machine's serial line, is handed to the client in place of a serial port.
//
//   custom_transport SOCKET IMAGE
//   custom_transport ./line fw_tv.bin    # to a board of: kvo-board-simulator --socket ./line
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include <kvo/bootloadertms/Baudrate.h>
#include <kvo/bootloadertms/BootLoader.h>
#include <kvo/bootloadertms/ISerialPort.h>

namespace {

// A connection, open from the start until `Close`, so what only a closed port may be asked for is
// wrong use. There is no line to configure. The system refuses to read and write a closed socket.
class SocketPort : public kvo::bootloadertms::ISerialPort {
 public:
  // Two constructors, so that a failure closes the socket.
  explicit SocketPort(const std::string& path) : SocketPort() {
    device_ = path;
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    if (path.copy(address.sun_path, sizeof address.sun_path - 1) < path.size()) {
      throw std::runtime_error("Too long for a socket's path: " + path);
    }
    Check(::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    // A serial port of this machine has 100 ms; an emulated board may take longer for an answer.
    const timeval timeout{.tv_sec = 1, .tv_usec = 0};
    Check(::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout));
  }
  ~SocketPort() override { SocketPort::Close(); }

  void Open() override { throw std::runtime_error("A connection can't be opened again"); }
  void SetTimeout(std::int32_t /*timeout_ms*/) override {
    throw std::runtime_error("The time-out of a connection can't be changed");
  }
  int Close() override {
    ::close(std::exchange(socket_, -1));
    return 0;
  }

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
  int SetOptionFlag(bool /*flag*/) override { return 0; }

  std::int64_t Write(const std::string& data) override {
    // No signal if the peer is gone: it would end the program in place of an exception.
    return Check(::send(socket_, data.data(), data.size(), MSG_NOSIGNAL));
  }
  void WriteByte(std::uint8_t byte) override { Write(std::string(1, static_cast<char>(byte))); }
  void WriteSlowly(const std::string& data, std::uint32_t delay_ms) override {
    for (const char byte : data) {
      Write(std::string(1, byte));
      std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
    }
  }

  void Read(std::string& data) override {
    data.resize(255);
    data.resize(Receive(data.data(), data.size()));
    if (!data.empty()) {
      data += '\0';  // as the interface wants it
    }
  }
  std::uint8_t ReadByte() override {
    char byte = 0;  // what it stays when nothing comes
    Receive(&byte, 1);
    return static_cast<std::uint8_t>(byte);
  }
  int FlushInput() override {
    char discarded = 0;
    ssize_t count = 1;
    while (count > 0) {
      count = ::recv(socket_, &discarded, 1, MSG_DONTWAIT);
    }
    return count == -1 && errno == EAGAIN ? 0 : -1;
  }

 private:
  SocketPort() = default;

  std::int64_t Check(std::int64_t result) const {
    return result != -1 ? result : throw std::system_error(errno, std::system_category(), device_);
  }

  // How many bytes have come, 0 if none has within the time-out. A peer that is gone is a failure:
  // an upload would wait for its board indefinitely.
  std::size_t Receive(char* bytes, std::size_t most) const {
    const ssize_t count = ::recv(socket_, bytes, most, 0);
    if (count == 0) {
      throw std::runtime_error(device_ + ": The connection has been closed");
    }
    return count == -1 && errno == EAGAIN ? 0 : static_cast<std::size_t>(Check(count));
  }

  std::string device_;
  kvo::bootloadertms::Baudrate baud_rate_;
  int socket_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "Usage: custom_transport SOCKET IMAGE\n";
    return EXIT_FAILURE;
  }
  try {
    kvo::bootloadertms::BootLoader board(std::make_unique<SocketPort>(argv[1]));
    board.ActivateBootloader();
    board.UploadImage(argv[2]);
    board.ActivateApplication();
    return EXIT_SUCCESS;
  } catch (const std::exception& error) {
    std::cerr << "custom_transport: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
