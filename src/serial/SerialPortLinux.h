#pragma once

#include <termios.h>

#include <cstdint>
#include <string>

#include "Baudrate.h"
#include "ISerialPort.h"

namespace kvo::bootloadertms {

// A serial port on a POSIX terminal device: raw, 8 data bits, no parity, one stop bit, no flow
// control, modem lines ignored. Only the speed and the read time-out vary.
//
// The object owns its descriptor. Opening it a second time without `Close` loses the first
// descriptor; nothing guards against that.
//
// Failures:
// - `std::runtime_error` with the text given at the operation, for wrong use and for open and
//   close;
// - `std::system_error` where a comment below says "system error": a call of the system failed.
//   Deliberate: its value is always EFAULT (14) of `std::system_category()`, whatever the cause.
class SerialPortLinux : public ISerialPort {
 public:
  // A closed port with the time-out -1. Throws "Baud rate not supported : " and the rate when
  // `Baudrate` refuses it.
  SerialPortLinux(std::string device, std::uint32_t baud_rate);

  // Closes the port. A close that fails is reported on standard error; no exception escapes.
  ~SerialPortLinux() override;

  // When open, fails as `ConfigureTermios` does; the path is stored all the same.
  std::uint32_t SetDevice(std::string device) override;
  std::string GetDevice() override;

  // When open, fails as `ConfigureTermios` does; the rate is stored all the same.
  std::uint32_t SetBaudRate(std::uint32_t rate) override;
  std::uint32_t GetBaudRate() override;

  // Throws "Can't set time out while serial port already opened! " or "time out ms is invalid".
  void SetTimeout(std::int32_t timeout_ms) override;

  // Fails as `ConfigureTermios` does, so always when there is no descriptor; the flag is stored all
  // the same.
  int SetOptionFlag(bool flag) override;

  // Throws "Attempt to open serial port but serial port definition is empty!" or "Could not open
  // device " + path + ". Is the device name correct and do you have read/write permission or is the
  // device busy?", or fails as `ConfigureTermios` does; the port is open only when none happened.
  void Open() override;

  // Throws "Tried to close serial port " + path + ", but close() failed."; the port then stays as
  // it was.
  int Close() override;

  // These four throw "Called but state != open. Call open() first" on a port that is not open, and
  // "Called but file descriptor < 0. file has not been opened" when a second `Open` failed. Failed
  // writes are a system error; a failed read is the byte 0xFF.
  std::int64_t Write(const std::string& data) override;
  void WriteSlowly(const std::string& data, std::uint32_t delay_ms) override;
  void WriteByte(std::uint8_t byte) override;
  std::uint8_t ReadByte() override;

  // At most 255 bytes per call. Throws "Read() was called but file descriptor was 0. File has not
  // been opened" for that descriptor; a failed read is a system error, on a closed port too. After
  // a failure `data` is empty.
  void Read(std::string& data) override;

  int FlushInput() override;

  // The terminal's settings. Throws "GetTermios() called but file descriptor was not valid." when
  // there is no descriptor. A call that fails is told on standard output and is a system error.
  termios GetTermios() const;

  // Discards pending input, then applies `settings` at once. A call that fails is told on standard
  // output and is a system error.
  void SetTermios(const termios& settings) const;

  // Puts speed, line format and read time-out in force; flags that are no part of these stay as
  // found. Returns 0, or fails as `GetTermios` and `SetTermios` do.
  int ConfigureTermios();

 private:
  enum class State : std::uint32_t { kClosed = 0, kOpen = 1 };

  std::uint32_t ReconfigureIfOpen();
  void RequireOpen() const;

  Baudrate baud_rate_;
  State state_ = State::kClosed;
  std::string device_;
  int descriptor_ = -1;
  bool option_flag_ = false;  // Deliberate: no setting of the line reads it.
  std::int32_t timeout_ms_ = -1;
};

}  // namespace kvo::bootloadertms
