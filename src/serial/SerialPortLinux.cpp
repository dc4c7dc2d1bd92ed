#include "serial/SerialPortLinux.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "serial/LineSettings.h"

namespace kvo::bootloadertms {

namespace {

constexpr std::int32_t kWaitForAByte = -1;
constexpr std::int32_t kLongestTimeoutMs = 25500;  // VTIME 255, the most its byte holds
constexpr std::uint8_t kReadFailed = 0xFF;
constexpr std::size_t kMostPerRead = 255;  // bytes

[[noreturn]] void ThrowSystemError() {
  // Deliberate: always EFAULT, whatever errno says.
  throw std::system_error(EFAULT, std::system_category());
}

[[noreturn]] void ReportTerminalAttributes(const char* opening, const std::string& device) {
  const int cause = errno;  // before printing can change it
  std::cout << opening << device << "\" - " << std::strerror(cause) << "\n";
  ThrowSystemError();
}

}  // namespace

SerialPortLinux::SerialPortLinux(std::string device, std::uint32_t baud_rate) {
  if (!Baudrate::IsSupported(baud_rate)) {
    throw std::runtime_error("Baud rate not supported : " + std::to_string(baud_rate));
  }
  baud_rate_.SetValue(baud_rate);
  device_ = std::move(device);
}

SerialPortLinux::~SerialPortLinux() {
  try {
    SerialPortLinux::Close();
  } catch (...) {
    std::cerr << "!!something wrong on destruct SerialPortLinux object...\n";
  }
}

std::uint32_t SerialPortLinux::SetDevice(std::string device) {
  device_ = std::move(device);
  return ReconfigureIfOpen();
}

std::string SerialPortLinux::GetDevice() { return device_; }

std::uint32_t SerialPortLinux::SetBaudRate(std::uint32_t rate) {
  baud_rate_.SetValue(rate);
  return ReconfigureIfOpen();
}

std::uint32_t SerialPortLinux::GetBaudRate() { return baud_rate_.GetValue(); }

void SerialPortLinux::SetTimeout(std::int32_t timeout_ms) {
  if (state_ == State::kOpen) {
    throw std::runtime_error("Can't set time out while serial port already opened! ");
  }
  if (timeout_ms < kWaitForAByte || timeout_ms > kLongestTimeoutMs) {
    throw std::runtime_error("time out ms is invalid");
  }
  timeout_ms_ = timeout_ms;
}

int SerialPortLinux::SetOptionFlag(bool flag) {
  option_flag_ = flag;
  return ConfigureTermios();
}

void SerialPortLinux::Open() {
  if (device_.empty()) {
    throw std::runtime_error("Attempt to open serial port but serial port definition is empty!");
  }
  descriptor_ = ::open(device_.c_str(), O_RDWR | O_NOCTTY | O_SYNC);
  if (descriptor_ == -1) {
    throw std::runtime_error("Could not open device " + device_ +
                             ". Is the device name correct and do you have read/write permission "
                             "or is the device busy?");
  }
  ConfigureTermios();
  state_ = State::kOpen;
}

int SerialPortLinux::Close() {
  if (descriptor_ != -1) {
    if (::close(descriptor_) == -1) {
      throw std::runtime_error("Tried to close serial port " + device_ + ", but close() failed.");
    }
    descriptor_ = -1;
  }
  state_ = State::kClosed;
  return 0;
}

std::int64_t SerialPortLinux::Write(const std::string& data) {
  RequireOpen();
  const std::int64_t written = ::write(descriptor_, data.data(), data.size());
  if (written == -1) {
    ThrowSystemError();
  }
  return written;
}

void SerialPortLinux::WriteSlowly(const std::string& data, std::uint32_t delay_ms) {
  RequireOpen();
  for (const char& byte : data) {
    if (::write(descriptor_, &byte, 1) == -1) {
      ThrowSystemError();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
  }
}

void SerialPortLinux::WriteByte(std::uint8_t byte) {
  RequireOpen();
  if (::write(descriptor_, &byte, 1) == -1) {
    ThrowSystemError();
  }
}

std::uint8_t SerialPortLinux::ReadByte() {
  RequireOpen();
  std::uint8_t byte = 0;
  if (::read(descriptor_, &byte, 1) == -1) {
    return kReadFailed;
  }
  return byte;
}

void SerialPortLinux::Read(std::string& data) {
  data.clear();
  if (descriptor_ == 0) {
    throw std::runtime_error(
        "Read() was called but file descriptor was 0. File has not been opened");
  }
  std::array<char, kMostPerRead + 1> received;
  const ssize_t count = ::read(descriptor_, received.data(), kMostPerRead);
  if (count < 0) {
    ThrowSystemError();
  }
  if (count > 0) {
    const auto length = static_cast<std::size_t>(count);
    received.at(length) = '\0';
    data.assign(received.data(), length + 1);
  }
}

int SerialPortLinux::FlushInput() { return ::tcflush(descriptor_, TCIFLUSH); }

termios SerialPortLinux::GetTermios() const {
  if (descriptor_ == -1) {
    throw std::runtime_error("GetTermios() called but file descriptor was not valid.");
  }
  termios settings{};
  if (::tcgetattr(descriptor_, &settings) == -1) {
    ReportTerminalAttributes("Could not get terminal attributes for \"", device_);
  }
  return settings;
}

void SerialPortLinux::SetTermios(const termios& settings) const {
  ::tcflush(descriptor_, TCIFLUSH);
  if (::tcsetattr(descriptor_, TCSANOW, &settings) == -1) {
    ReportTerminalAttributes("Could not apply terminal attributes for \"", device_);
  }
}

int SerialPortLinux::ConfigureTermios() {
  termios settings = GetTermios();
  MakeRawLine(settings, TerminalSpeed(baud_rate_.GetValue()), timeout_ms_);
  SetTermios(settings);
  return 0;
}

std::uint32_t SerialPortLinux::ReconfigureIfOpen() {
  if (state_ == State::kOpen) {
    return static_cast<std::uint32_t>(ConfigureTermios());
  }
  return static_cast<std::uint32_t>(state_);
}

void SerialPortLinux::RequireOpen() const {
  if (state_ != State::kOpen) {
    throw std::runtime_error("Called but state != open. Call open() first");
  }
  if (descriptor_ < 0) {
    throw std::runtime_error("Called but file descriptor < 0. file has not been opened");
  }
}

}  // namespace kvo::bootloadertms
