#pragma once

#include <kvo/bootloadertms/ISerialPort.h>

#include <string>
#include <utility>

namespace kvo::boards {

// Hands all operations on to a port that it borrows; what derives from it changes some of them.
class PortDecorator : public bootloadertms::ISerialPort {
 public:
  explicit PortDecorator(bootloadertms::ISerialPort& port) : port_(port) {}

  std::uint32_t SetDevice(std::string device) override {
    return port_.SetDevice(std::move(device));
  }
  std::string GetDevice() override { return port_.GetDevice(); }
  std::uint32_t SetBaudRate(std::uint32_t rate) override { return port_.SetBaudRate(rate); }
  std::uint32_t GetBaudRate() override { return port_.GetBaudRate(); }
  void SetTimeout(std::int32_t timeout_ms) override { port_.SetTimeout(timeout_ms); }
  int SetOptionFlag(bool flag) override { return port_.SetOptionFlag(flag); }
  void Open() override { port_.Open(); }
  int Close() override { return port_.Close(); }
  std::int64_t Write(const std::string& data) override { return port_.Write(data); }
  void WriteSlowly(const std::string& data, std::uint32_t delay_ms) override {
    port_.WriteSlowly(data, delay_ms);
  }
  void Read(std::string& data) override { port_.Read(data); }
  void WriteByte(std::uint8_t byte) override { port_.WriteByte(byte); }
  std::uint8_t ReadByte() override { return port_.ReadByte(); }
  int FlushInput() override { return port_.FlushInput(); }

 protected:
  bootloadertms::ISerialPort& Port() { return port_; }

 private:
  bootloadertms::ISerialPort& port_;
};

}  // namespace kvo::boards
