#include "support/ScriptedSerialPort.h"

#include <system_error>

namespace kvo::bootloadertms::testing {

ScriptedSerialPort::ScriptedSerialPort(Script& script) : script_(script) {}

std::string ScriptedSerialPort::GetDevice() {
  script_.CheckLock("GetDevice");
  return "/dev/ttyScript";
}

std::uint32_t ScriptedSerialPort::GetBaudRate() {
  script_.CheckLock("GetBaudRate");
  return 115200;
}

int ScriptedSerialPort::Close() {
  script_.CheckLock("Close");
  ++script_.close_count_;
  return 0;
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
