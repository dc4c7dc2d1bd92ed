#pragma once

#include <string>

#include "fuzz/Line.h"
#include "serial/ISerialPort.h"

namespace kvo::bootloadertms::testing {

// The port of the code under test, on a line that it borrows. Operations that no client may use end
// the process.
class PortOnLine : public ISerialPort {
 public:
  explicit PortOnLine(Line& line) : line_(line) {}

  std::uint32_t SetDevice(std::string device) override;
  std::string GetDevice() override;
  std::uint32_t SetBaudRate(std::uint32_t rate) override;
  std::uint32_t GetBaudRate() override;
  void SetTimeout(std::int32_t timeout_ms) override;
  int SetOptionFlag(bool flag) override;
  void Open() override;
  int Close() override;
  std::int64_t Write(const std::string& data) override;
  void WriteSlowly(const std::string& data, std::uint32_t delay_ms) override;
  void Read(std::string& data) override;
  void WriteByte(std::uint8_t byte) override;
  std::uint8_t ReadByte() override;
  int FlushInput() override;

 private:
  Line& line_;
};

}  // namespace kvo::bootloadertms::testing
