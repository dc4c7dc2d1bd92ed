#pragma once

#include <string>

#include "serial/ISerialPort.h"
#include "support/Script.h"

namespace kvo::bootloadertms::testing {

// A port that plays a `Script`, which it borrows. Its device is "/dev/ttyScript" at 115200 bits per
// second. The operations that no client uses (`Open`, `Write`, ...) fail the test.
class ScriptedSerialPort : public ISerialPort {
 public:
  explicit ScriptedSerialPort(Script& script);

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
  Script& script_;
};

}  // namespace kvo::bootloadertms::testing
