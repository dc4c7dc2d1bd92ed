#include "serial/LineSettings.h"

#include <stdexcept>

#include "serial/Speeds.h"

namespace kvo::bootloadertms {

namespace {

constexpr std::int32_t kMillisecondsPerTenth = 100;

constexpr tcflag_t kClearedControlModes = PARENB | CSTOPB | CSIZE | CRTSCTS;
constexpr tcflag_t kSetControlModes = CS8 | CREAD | CLOCAL;
constexpr tcflag_t kClearedLocalModes = ISIG | ICANON | ECHO | ECHONL | IEXTEN;
// Deliberate: IXOFF, IXANY, INPCK and IGNPAR stay as found.
constexpr tcflag_t kClearedInputModes =
    IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL | IXON;
constexpr tcflag_t kClearedOutputModes = OPOST;

void SetReadTiming(termios& settings, std::int32_t timeout_ms) {
  const bool wait_for_a_byte = timeout_ms == -1;
  settings.c_cc[VMIN] = wait_for_a_byte ? 1 : 0;
  // Deliberate: rounded down, so 1 to 99 ms wait no longer than 0 does.
  settings.c_cc[VTIME] =
      wait_for_a_byte ? cc_t{0} : static_cast<cc_t>(timeout_ms / kMillisecondsPerTenth);
}

}  // namespace

speed_t TerminalSpeed(std::uint32_t rate) {
  const Speed* speed = FindSpeed(rate);
  if (speed == nullptr) {
    // Deliberate: names the function that callers know.
    throw std::runtime_error(
        "baudRate passed to "
        "void kvo::bootloadertms::SerialPortLinux::ConfigureTermios()"
        " unrecognized.");
  }
  return speed->constant;
}

void MakeRawLine(termios& settings, speed_t speed, std::int32_t timeout_ms) {
  ::cfsetispeed(&settings, speed);
  ::cfsetospeed(&settings, speed);

  settings.c_cflag &= ~kClearedControlModes;
  settings.c_cflag |= kSetControlModes;
  settings.c_lflag &= ~kClearedLocalModes;
  settings.c_iflag &= ~kClearedInputModes;
  settings.c_oflag &= ~kClearedOutputModes;

  SetReadTiming(settings, timeout_ms);
}

}  // namespace kvo::bootloadertms
