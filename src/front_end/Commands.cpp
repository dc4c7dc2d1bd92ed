#include "front_end/Commands.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace kvo::bootloadertms {

namespace {

using Lines = std::vector<std::string>;

Lines RequireSuccess(bool succeeded, const char* failure) {
  if (!succeeded) {
    throw std::runtime_error(failure);
  }
  return {};
}

Lines PingBootloader(IBootLoader& client) {
  return RequireSuccess(client.PingBootloader() != 0, "Bootloader doesn't respond. Exiting  ");
}

Lines PingApplication(IBootLoader& client) {
  return RequireSuccess(client.PingApplication() != 0, "Application doesn't respond. Exiting");
}

Lines Calibrate(IBootLoader& client) {
  return RequireSuccess(client.Calibrate() != 0, "Calibration failed. Exiting");
}

template <void (IBootLoader::*kOperation)()>
Lines Run(IBootLoader& client) {
  (client.*kOperation)();
  return {};
}

template <std::uint32_t kCode>
Lines BootloaderCommand(IBootLoader& client) {
  return {client.SendBootloaderCommand(kCode)};
}

template <std::uint32_t kCode>
Lines ApplicationCommand(IBootLoader& client) {
  return {client.SendApplicationCommand(kCode)};
}

// Deliberate: the fourth and the sixth field are not shown.
template <DeviceInfos (IBootLoader::*kRead)()>
Lines DeviceInformation(IBootLoader& client) {
  const DeviceInfos infos = (client.*kRead)();
  return {infos.GetAnswerS(), infos.GetAnswerH(), infos.GetAnswerP(), infos.GetAnswerV()};
}

constexpr bool kTyped = true;
constexpr bool kPlain = false;

constexpr auto kCommands = std::to_array<Command>({
    {0x30, "BL_CMD_PING", "BL_CMD_PING", kTyped, PingBootloader},
    {0x36, "BL_CMD_EXEC_APP", "BL_CMD_EXEC_APP", kPlain, Run<&IBootLoader::ActivateApplication>},
    {0x37, "BL_CMD_HW_INFO", "BL_CMD_HW_INFO", kPlain, BootloaderCommand<0x37>},
    {0x38, "BL_CMD_BL_INFO", "BL_CMD_BL_INFO", kPlain, BootloaderCommand<0x38>},
    {0x39, "BL_CMD_APP_INFO", "BL_CMD_APP_INFO", kPlain, BootloaderCommand<0x39>},
    // Deliberate: one code with two labels, which always goes to the application.
    {0x62, "BL_CMD_SAFE_BOOT_STATUS", "APP_CMD_SAFE_BOOT_STATUS", kPlain, ApplicationCommand<0x62>},
    {0x100, "BL_CMD_DEVICE_INFO", "BL_CMD_DEVICE_INFO", kPlain,
     DeviceInformation<&IBootLoader::ReadBootloaderInfos>},
    {0x4B, "APP_CALIB", "APP_CALIB", kPlain, Calibrate},
    {0x51, "APP_ACTIVE_BOOTLOADER", "APP_ACTIVE_BOOTLOADER", kPlain,
     Run<&IBootLoader::ActivateBootloader>},
    {0x52, "APP_PING", "APP_PING", kPlain, PingApplication},
    {0x62, "APP_CMD_SAFE_BOOT_STATUS", "APP_CMD_SAFE_BOOT_STATUS", kPlain,
     ApplicationCommand<0x62>},
    {0x200, "APP_CMD_DEVICE_INFO", "APP_CMD_DEVICE_INFO", kPlain,
     DeviceInformation<&IBootLoader::ReadApplicationInfos>},
    // Deliberate: the spelling of the progress message is the one that scripts know.
    {0x110, "APP_CMD_RESTORE_DEFAULT_PARAMETERS", "RESTORE_DEFAULT_PARAMTERS", kPlain,
     Run<&IBootLoader::RestoreDefaultParameters>},
});

}  // namespace

std::span<const Command> Commands() { return kCommands; }

const Command* FindCommand(std::uint32_t code) {
  const auto* command = std::ranges::find(kCommands, code, &Command::code);
  return command == kCommands.end() ? nullptr : command;
}

}  // namespace kvo::bootloadertms
