#include "boards/ports/BoardPort.h"

#include <kvo/bootloadertms/Baudrate.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include "boards/ports/ExclusiveTerminal.h"
#include "boards/ports/TcpConnection.h"

namespace kvo::boards {

namespace ymodem = bootloadertms::ymodem;
using std::chrono::milliseconds;

namespace {

constexpr std::int32_t kWaitForAByte = -1;
constexpr std::int32_t kLongestTimeoutMs = 25500;  // as long as any port's
constexpr std::size_t kMostPerRead = 255;          // bytes
constexpr milliseconds kEndOfAnswer{20};

bool MeansGone(int error) {
  constexpr std::array kErrors = {EIO,         ENXIO,        ENODEV,       EPIPE,
                                  ECONNRESET,  ETIMEDOUT,    ECONNABORTED, ENOTCONN,
                                  ENETUNREACH, EHOSTUNREACH, ENETDOWN};
  return std::find(kErrors.begin(), kErrors.end(), error) != kErrors.end();
}

// One call, which never blocks.
ssize_t WriteOnce(const Borrowed& borrowed, std::string_view bytes) {
  if (borrowed.is_terminal) {
    return ::write(borrowed.descriptor, bytes.data(), bytes.size());
  }
  return ::send(borrowed.descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

}  // namespace

BoardPort::BoardPort(std::string device, std::uint32_t baud_rate)
    : device_(std::move(device)), baud_rate_(baud_rate) {
  if (!bootloadertms::Baudrate::IsSupported(baud_rate)) {
    throw std::runtime_error("Baud rate not supported : " + std::to_string(baud_rate));
  }
}

BoardPort::~BoardPort() { BoardPort::Close(); }

std::uint32_t BoardPort::SetDevice(std::string device) {
  device_ = std::move(device);
  return 0;
}

std::string BoardPort::GetDevice() { return device_; }

std::uint32_t BoardPort::SetBaudRate(std::uint32_t rate) {
  if (IsOpen()) {
    throw std::runtime_error("the speed of an open port can't be changed");
  }
  if (bootloadertms::Baudrate::IsSupported(rate)) {
    baud_rate_ = rate;
  }
  return 0;
}

std::uint32_t BoardPort::GetBaudRate() { return baud_rate_; }

void BoardPort::SetTimeout(std::int32_t timeout_ms) {
  if (IsOpen()) {
    throw std::runtime_error("the time-out of an open port can't be changed");
  }
  if (timeout_ms < kWaitForAByte || timeout_ms > kLongestTimeoutMs) {
    throw std::runtime_error("a time-out is -1 to 25500 ms");
  }
  timeout_ms_ = timeout_ms;
}

int BoardPort::SetOptionFlag(bool /*flag*/) { return 0; }

void BoardPort::Open() {
  if (IsOpen()) {
    throw std::runtime_error("the port is open already");
  }
  borrowed_ = OpenDescriptor();
  has_read_ = false;
}

int BoardPort::Close() {
  if (!IsOpen()) {
    return 0;
  }
  // Once, whatever comes of it: neither a line that is stuck nor one that is gone may stop a close.
  if (HasKeptBytes()) {
    WriteOnce(borrowed_, {packet_.data(), kept_});
    kept_ = 0;
  }
  is_given_back_ = GiveBack(borrowed_, false);
  ::flock(borrowed_.descriptor, LOCK_UN);  // a duplicate elsewhere would keep it
  ::close(borrowed_.descriptor);
  borrowed_ = {};
  return 0;
}

std::int64_t BoardPort::Write(const std::string& data) {
  RequireOpen();
  SendKeptBytes();
  Send(data);
  return static_cast<std::int64_t>(data.size());
}

void BoardPort::WriteSlowly(const std::string& data, std::uint32_t delay_ms) {
  RequireOpen();
  SendKeptBytes();
  for (const char& byte : data) {
    Send({&byte, 1});
    std::this_thread::sleep_for(milliseconds(delay_ms));
  }
}

void BoardPort::Read(std::string& data) {
  RequireOpen();
  data.clear();
  SendKeptBytes();
  std::array<char, kMostPerRead> received;
  std::size_t count = Receive(received.data(), received.size(), milliseconds(timeout_ms_));
  for (std::size_t piece = count; piece > 0; count += piece) {
    const char* const end = received.data() + count;
    if (count == received.size() || std::find(end - piece, end, '\n') != end) {
      break;
    }
    piece = Receive(received.data() + count, received.size() - count, kEndOfAnswer);
  }
  if (count > 0) {
    data.assign(received.data(), count);
    data += '\0';
  }
}

void BoardPort::WriteByte(std::uint8_t byte) {
  if (kept_ == 0) {
    RequireOpen();
    packet_size_ = PacketSize(byte);
  }
  packet_[kept_] = static_cast<char>(byte);
  ++kept_;
  if (kept_ == packet_size_) {
    SendKeptBytes();
  }
}

std::uint8_t BoardPort::ReadByte() {
  RequireOpen();
  SendKeptBytes();
  char byte = '\0';
  has_read_ = false;
  has_read_ = Receive(&byte, 1, milliseconds(timeout_ms_)) == 1;
  return static_cast<std::uint8_t>(byte);
}

int BoardPort::FlushInput() {
  RequireOpen();
  SendKeptBytes();
  const int result = Discard(borrowed_.descriptor);
  if (result == -1 && MeansGone(errno)) {
    ThrowFailure();
  }
  return result;
}

void BoardPort::RequireOpen() const {
  if (!IsOpen()) {
    throw std::runtime_error("the port is not open");
  }
}

void BoardPort::ThrowFailure() const {
  const int error = errno;
  if (MeansGone(error)) {
    ThrowLost(std::system_category().message(error));
  }
  throw std::system_error(error, std::system_category());
}

void BoardPort::ThrowLost(const std::string& cause) const {
  throw PortFailure(
      Reason::kLost,
      (borrowed_.is_terminal ? "the port is gone: " : "the connection is lost: ") + cause);
}

std::size_t BoardPort::Receive(char* into, std::size_t most, milliseconds wait) const {
  std::optional<Clock::time_point> until;
  if (wait >= milliseconds(0)) {
    until = Clock::now() + wait;
  }
  while (WaitFor(POLLIN, until) != 0) {
    const ssize_t count = ::read(borrowed_.descriptor, into, most);
    if (count > 0) {
      return static_cast<std::size_t>(count);
    }
    if (count == 0) {
      ThrowLost("the other end hung up");
    }
    if (errno != EAGAIN && errno != EINTR) {
      ThrowFailure();
    }
  }
  return 0;
}

int BoardPort::WaitFor(short events, std::optional<Clock::time_point> until) const {
  while (true) {
    int wait_ms = -1;
    if (until) {
      const auto left = std::chrono::ceil<milliseconds>(*until - Clock::now());
      wait_ms = static_cast<int>(std::max(left.count(), milliseconds::rep{0}));
    }
    pollfd ready{.fd = borrowed_.descriptor, .events = events, .revents = 0};
    const int result = ::poll(&ready, 1, wait_ms);
    if (result >= 0) {
      return ready.revents;
    }
    if (errno != EINTR) {
      ThrowFailure();
    }
  }
}

void BoardPort::Send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = WriteOnce(borrowed_, bytes);
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EAGAIN && errno != EINTR) {
      ThrowFailure();
    }
    if (!bytes.empty()) {
      WaitFor(POLLOUT, std::nullopt);
    }
  }
}

void BoardPort::SendKeptBytes() {
  if (!HasKeptBytes()) {
    return;
  }
  const std::size_t count = std::exchange(kept_, 0);  // so that nothing goes out twice
  Send({packet_.data(), count});
}

std::size_t BoardPort::PacketSize(std::uint8_t byte) {
  switch (byte) {
    case ymodem::kSoh:
      return ymodem::kPacketZeroSize + kPacketFrame;
    case ymodem::kStx:
      return ymodem::kBlockSize + kPacketFrame;
    default:
      return 1;
  }
}

std::unique_ptr<BoardPort> MakePort(const PortAddress& address, std::uint32_t baud_rate,
                                    milliseconds answer_timeout) {
  std::unique_ptr<BoardPort> port;
  if (address.is_tcp) {
    port = std::make_unique<TcpConnection>(address, baud_rate);
  } else {
    port = std::make_unique<ExclusiveTerminal>(address.name, baud_rate);
  }
  port->SetTimeout(static_cast<std::int32_t>(answer_timeout.count()));
  return port;
}

}  // namespace kvo::boards
