#pragma once

#include <cstdint>
#include <string>

namespace kvo::bootloadertms {

// The byte channel between this program and a board. Everything above it (pings, commands,
// questions, YModem) reads and writes through these operations, so another transport is another
// implementation of this interface.
//
// An object is used from one thread at a time. Whoever makes it owns it; `BootLoader` takes
// ownership of its port. The order of the operations is part of the binary interface. Failures are
// `std::runtime_error` for wrong use and for a port that can't be opened or closed, and
// `std::system_error` for another call of the system that failed; `SerialPortLinux` tells the
// texts.
class ISerialPort {
 public:
  ISerialPort() = default;
  ISerialPort(const ISerialPort&) = delete;
  ISerialPort& operator=(const ISerialPort&) = delete;

  // Stores the path of the device. The result is 0 for a closed port, else that of configuring the
  // line anew; the open device stays the one in use until the next `Open`.
  virtual std::uint32_t SetDevice(std::string device) = 0;
  virtual std::string GetDevice() = 0;

  // Stores a supported rate in bits per second and applies it at once to an open port. A rate that
  // is not supported leaves the old one in force. The result is as for `SetDevice`.
  virtual std::uint32_t SetBaudRate(std::uint32_t rate) = 0;
  virtual std::uint32_t GetBaudRate() = 0;

  // The longest that a read waits, in ms: -1: until a byte arrives; 0: not at all; 25500 at most.
  // Lines count in tenths of a second and round down, so 1 to 99 ms wait no longer than 0 does.
  // Only on a closed port; a refused value leaves the old one in force.
  virtual void SetTimeout(std::int32_t timeout_ms) = 0;

  // Stores a flag that no setting of the line depends on, and configures the line anew. Returns 0.
  virtual int SetOptionFlag(bool flag) = 0;

  // Opens the stored device and configures its line with the stored rate and time-out. The port is
  // open only when both went well. An open port is to be closed first: a second `Open` may lose the
  // device that it holds.
  virtual void Open() = 0;

  // Returns 0, also when the port was not open.
  virtual int Close() = 0;

  // One write of all of `data`. Returns the count of bytes taken, which may be less; the rest is
  // not sent.
  virtual std::int64_t Write(const std::string& data) = 0;

  // Writes byte by byte and sleeps `delay_ms` after each, the last included.
  virtual void WriteSlowly(const std::string& data, std::uint32_t delay_ms) = 0;

  // One read: `data` becomes what has arrived followed by one '\0', or empty when nothing arrived
  // within the time-out. An implementation may wait for the rest of an answer that has begun;
  // `SerialPortLinux` never does.
  virtual void Read(std::string& data) = 0;

  virtual void WriteByte(std::uint8_t byte) = 0;

  // One byte; 0x00 when none arrived within the time-out, 0xFF when the read failed. Callers can't
  // tell these from received bytes of the same value.
  virtual std::uint8_t ReadByte() = 0;

  // Discards what has arrived and was not read. Returns what the system answered, 0 or -1.
  virtual int FlushInput() = 0;

  virtual ~ISerialPort() = default;
};

}  // namespace kvo::bootloadertms
