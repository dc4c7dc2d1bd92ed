#include "fuzz/PortOnLine.h"

#include <cstdlib>

#include "fuzz/Require.h"

namespace kvo::bootloadertms::testing {

namespace {

[[noreturn]] void Unexpected(const char* operation) {
  Require(false, operation);
  std::abort();
}

}  // namespace

std::uint32_t PortOnLine::SetDevice(std::string /*device*/) { Unexpected("no SetDevice"); }
std::string PortOnLine::GetDevice() { return "/dev/ttyFuzz"; }
std::uint32_t PortOnLine::SetBaudRate(std::uint32_t /*rate*/) { Unexpected("no SetBaudRate"); }
std::uint32_t PortOnLine::GetBaudRate() { return 115200; }
void PortOnLine::SetTimeout(std::int32_t /*timeout_ms*/) { Unexpected("no SetTimeout"); }
int PortOnLine::SetOptionFlag(bool /*flag*/) { Unexpected("no SetOptionFlag"); }
void PortOnLine::Open() { Unexpected("no Open"); }
int PortOnLine::Close() { return 0; }
std::int64_t PortOnLine::Write(const std::string& /*data*/) { Unexpected("no Write"); }
void PortOnLine::WriteSlowly(const std::string& /*data*/, std::uint32_t /*delay_ms*/) {
  Unexpected("no WriteSlowly");
}
void PortOnLine::Read(std::string& data) { data = line_.Read(); }
void PortOnLine::WriteByte(std::uint8_t byte) { line_.Write(byte); }
std::uint8_t PortOnLine::ReadByte() { return line_.ReadByte(); }

int PortOnLine::FlushInput() {
  line_.Flush();
  return 0;
}

}  // namespace kvo::bootloadertms::testing
