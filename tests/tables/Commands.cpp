#include "tables/Commands.h"

#include <cstdio>
#include <stdexcept>

namespace kvo::bootloadertms::testing {

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

using Lines = std::vector<std::string>;

Lines LinesUnlessSilent(bool answered, const char* failure) {
  return answered ? Lines{} : throw std::runtime_error(failure);
}

Lines FourOf(const DeviceInfos& infos) {
  return {infos.GetAnswerS(), infos.GetAnswerH(), infos.GetAnswerP(), infos.GetAnswerV()};
}

const std::vector<Command> kCommands = {
    {"PingBootloader",
     0x30,
     "\nSend BL_CMD_PING (0x30)...",
     {{"0", "A"}},
     "",
     50ms,
     [](IBootLoader& client) {
       return LinesUnlessSilent(client.PingBootloader() != 0,
                                "Bootloader doesn't respond. Exiting  ");
     }},
    {"ExecuteApplication",
     0x36,
     "\nSend BL_CMD_EXEC_APP ...",
     {{"6", ""}, {"0", "ping_callback_function\r\n"}},
     "",
     1050ms,
     [](IBootLoader& client) { return client.ActivateApplication(), Lines{}; }},
    {"HardwareInfo",
     0x37,
     "\nSend BL_CMD_HW_INFO ...",
     {{"7", "HW 2\r\n"}},
     "HW 2\r\n\0\n"s,
     100ms,
     [](IBootLoader& client) { return Lines{client.SendBootloaderCommand(0x37)}; }},
    {"BootloaderInfo",
     0x38,
     "\nSend BL_CMD_BL_INFO ...",
     {{"8", "BL 1.4"}},
     "BL 1.4\0\n"s,
     100ms,
     [](IBootLoader& client) { return Lines{client.SendBootloaderCommand(0x38)}; }},
    {"ApplicationInfo",
     0x39,
     "\nSend BL_CMD_APP_INFO ...",
     {{"9", "\n"}},
     "\n\0\n"s,
     100ms,
     [](IBootLoader& client) { return Lines{client.SendBootloaderCommand(0x39)}; }},
    {"Calibration",
     0x4B,
     "\nSend APP_CALIB ...",
     {{"K", "KVO_CMD_CALIBRATE\r\n"}, {"", "---"}},
     "\nKVO_CMD_CALIBRATE\r\n\0\n"s,
     600ms,
     [](IBootLoader& client) {
       return LinesUnlessSilent(client.Calibrate() != 0, "Calibration failed. Exiting");
     },
     true},
    {"ActivateBootloader",
     0x51,
     "\nSend APP_ACTIVE_BOOTLOADER ...",
     {{"Q", ""}, {"\x18\x18", ""}, {"0", "A"}},
     "",
     1150ms,
     [](IBootLoader& client) { return client.ActivateBootloader(), Lines{}; }},
    {"PingApplication",
     0x52,
     "\nSend APP_PING ...",
     {{"0", "log: ping_callback_function\r\n"}},
     "",
     50ms,
     [](IBootLoader& client) {
       return LinesUnlessSilent(client.PingApplication() != 0,
                                "Application doesn't respond. Exiting");
     }},
    {"SafeBootStatus",
     0x62,
     "\nSend APP_CMD_SAFE_BOOT_STATUS ...",
     {{"b", "\0safe\r\n boot\r\n"s}},
     "safe boot\n",
     100ms,
     [](IBootLoader& client) { return Lines{client.SendApplicationCommand(0x62)}; }},
    {"BootloaderDeviceInfo",
     0x100,
     "\nSend BL_CMD_DEVICE_INFO ...",
     {{"s", "S1\r\n"}, {"h", "U\r\n"}, {"p", "U1\n"}, {"V", "upper"}, {"v", "lower\0"s}},
     "S1\n\nU1\nlower\n",
     500ms,
     [](IBootLoader& client) { return FourOf(client.ReadBootloaderInfos()); }},
    {"RestoreDefaultParameters",
     0x110,
     "\nSend RESTORE_DEFAULT_PARAMTERS ...",
     {{"Q", ""}, {"6", ""}, {"t", ""}, {"C", ""}, {"R", ""}, {"L", ""}},
     "",
     500ms,
     [](IBootLoader& client) { return client.RestoreDefaultParameters(), Lines{}; }},
    {"ApplicationDeviceInfo",
     0x200,
     "\nSend APP_CMD_DEVICE_INFO ...",
     {{"b", "BOOT OK\r\n"},
      {"s", "S2\r\n"},
      {"h", "U\r\n"},
      {"p", "P2\n"},
      {"V", "upper"},
      {"v", "lower"}},
     "S2\nU\nP2\nlower\n",
     520ms,
     [](IBootLoader& client) { return FourOf(client.ReadApplicationInfos()); }},
};

}  // namespace

const std::vector<Command>& Commands() { return kCommands; }

std::string Typed(std::uint32_t code) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%X", code);
  return text;
}

}  // namespace kvo::bootloadertms::testing
