#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "serial/ISerialPort.h"

namespace kvo::bootloadertms::testing {

// The operations of a port that clients of a ready port don't use: each fails the test. And what
// all ports of tests say of themselves, in a name that a string must allocate memory for. Ports of
// tests derive from it.
class UnaskedPort : public ISerialPort {
 public:
  std::string GetDevice() override { return "/dev/serial/by-id/usb-board-if00-port0"; }
  std::uint32_t GetBaudRate() override { return 115200; }
  int Close() override { return 0; }

  std::uint32_t SetDevice(std::string /*device*/) override { Unexpected("SetDevice"); }
  std::uint32_t SetBaudRate(std::uint32_t /*rate*/) override { Unexpected("SetBaudRate"); }
  void SetTimeout(std::int32_t /*timeout_ms*/) override { Unexpected("SetTimeout"); }
  int SetOptionFlag(bool /*flag*/) override { Unexpected("SetOptionFlag"); }
  void Open() override { Unexpected("Open"); }
  std::int64_t Write(const std::string& /*data*/) override { Unexpected("Write"); }
  void WriteSlowly(const std::string& /*data*/, std::uint32_t /*delay_ms*/) override {
    Unexpected("WriteSlowly");
  }

 protected:
  [[noreturn]] static void Unexpected(const char* operation) {
    ADD_FAILURE() << "unexpected call of " << operation;
    throw std::logic_error(operation);
  }
};

}  // namespace kvo::bootloadertms::testing
