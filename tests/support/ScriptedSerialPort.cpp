#include "support/ScriptedSerialPort.h"

#include <gtest/gtest.h>

#include <system_error>

namespace kvo::bootloadertms::testing {

namespace {

[[noreturn]] void Unexpected(const std::string& operation) {
  ADD_FAILURE() << "unexpected call of " << operation;
  throw ScriptBroken("unexpected call of " + operation);
}

}  // namespace

ScriptedSerialPort::ScriptedSerialPort(Script& script) : script_(script) {}

std::uint32_t ScriptedSerialPort::SetDevice(std::string /*device*/) { Unexpected("SetDevice"); }

std::string ScriptedSerialPort::GetDevice() {
  script_.CheckLock("GetDevice");
  return "/dev/ttyScript";
}

std::uint32_t ScriptedSerialPort::SetBaudRate(std::uint32_t /*rate*/) { Unexpected("SetBaudRate"); }

std::uint32_t ScriptedSerialPort::GetBaudRate() {
  script_.CheckLock("GetBaudRate");
  return 115200;
}

void ScriptedSerialPort::SetTimeout(std::int32_t /*timeout_ms*/) { Unexpected("SetTimeout"); }

int ScriptedSerialPort::SetOptionFlag(bool /*flag*/) { Unexpected("SetOptionFlag"); }

void ScriptedSerialPort::Open() { Unexpected("Open"); }

int ScriptedSerialPort::Close() {
  script_.CheckLock("Close");
  ++script_.close_count_;
  return 0;
}

std::int64_t ScriptedSerialPort::Write(const std::string& /*data*/) { Unexpected("Write"); }

void ScriptedSerialPort::WriteSlowly(const std::string& /*data*/, std::uint32_t /*delay_ms*/) {
  Unexpected("WriteSlowly");
}

void ScriptedSerialPort::Read(std::string& data) {
  script_.CheckLock("Read");
  data.clear();
  script_.SettlePrintedText();
  if (script_.IsNext(Script::Action::kReadFails)) {
    script_.Next({Script::Action::kReadFails, ""});
    throw std::system_error(EFAULT, std::system_category());
  }
  data = script_.Next({Script::Action::kRead, ""}).text;
}

void ScriptedSerialPort::WriteByte(std::uint8_t byte) {
  script_.CheckLock("WriteByte");
  script_.SettlePrintedText();
  if (script_.IsNext(Script::Action::kWriteFails)) {
    script_.Next({Script::Action::kWriteFails, ""});
    throw std::system_error(EFAULT, std::system_category());
  }
  script_.NextByte(byte);
}

std::uint8_t ScriptedSerialPort::ReadByte() {
  script_.CheckLock("ReadByte");
  script_.SettlePrintedText();
  if (script_.IsNext(Script::Action::kAnswerByteFails)) {
    script_.Next({Script::Action::kAnswerByteFails, ""});
    throw std::system_error(EFAULT, std::system_category());
  }
  return static_cast<std::uint8_t>(script_.Next({Script::Action::kReadByte, ""}).text.front());
}

int ScriptedSerialPort::FlushInput() {
  script_.CheckLock("FlushInput");
  script_.Next({Script::Action::kFlushInput, ""});
  return 0;
}

}  // namespace kvo::bootloadertms::testing
