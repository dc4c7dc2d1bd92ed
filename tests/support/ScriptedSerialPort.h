#pragma once

#include <string>

#include "support/Script.h"
#include "support/UnaskedPort.h"

namespace kvo::bootloadertms::testing {

// A port that plays a `Script`, which it borrows. Its device is "/dev/ttyScript" at 115200 bits per
// second.
class ScriptedSerialPort : public UnaskedPort {
 public:
  explicit ScriptedSerialPort(Script& script);

  std::string GetDevice() override;
  std::uint32_t GetBaudRate() override;
  int Close() override;
  void Read(std::string& data) override;
  void WriteByte(std::uint8_t byte) override;
  std::uint8_t ReadByte() override;
  int FlushInput() override;

 private:
  Script& script_;
};

}  // namespace kvo::bootloadertms::testing
