#include "client/BootLoader.h"

#include <chrono>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "client/AnswerText.h"
#include "client/Pause.h"
#include "client/TargetProtocol.h"
#include "log/LogMess.h"
#include "serial/PortInUse.h"
#include "serial/SerialPortLinux.h"

namespace kvo::bootloadertms {

namespace {

using namespace std::chrono_literals;

constexpr std::int32_t kReadTimeoutMs = 100;

constexpr std::uint32_t kBootloaderPingAttempts = 9;
constexpr std::chrono::milliseconds kApplicationPingBudget = 3000ms;
constexpr std::chrono::milliseconds kPingPause = 50ms;
constexpr std::chrono::milliseconds kSwitchPause = 1000ms;
constexpr std::chrono::milliseconds kCancelPause = 100ms;
constexpr std::chrono::milliseconds kRestorePause = 100ms;

// Deliberate: a busy port only gives a warning.
void WarnIfPortInUse(const std::string& device) {
  if (BootLoader::IsPortInUse(device)) {
    std::cerr << "Error: " << device << " port is already opened or a minicom instance is running."
              << std::endl;
    std::cerr << "Please close all minicom instances and/or programs using the port before trying "
                 "to flash."
              << std::endl;
  }
}

}  // namespace

BootLoader::BootLoader(const std::string& device, std::uint32_t baud_rate) {
  WarnIfPortInUse(device);
  port_ = std::make_unique<SerialPortLinux>(device, baud_rate);
  port_->SetTimeout(kReadTimeoutMs);
  port_->Open();
  LogMess::GetInstance().Log("bootLoader created : " + device + " " + std::to_string(baud_rate));
}

BootLoader::BootLoader(std::unique_ptr<ISerialPort> port) : port_(std::move(port)) {
  if (!port_) {
    throw std::runtime_error("No serial port given. Exiting");
  }
}

BootLoader::~BootLoader() {
  Locked([this] { return port_->Close(); });
}

std::uint32_t BootLoader::PingBootloader() {
  return Locked([this] { return RunBootloaderPing(); });
}

std::uint32_t BootLoader::PingApplication() {
  return Locked([this] { return RunApplicationPing(); });
}

void BootLoader::ActivateBootloader() {
  Locked([this] {
    LogMess::GetInstance().Log("Activating bootloader");
    port_->WriteByte(target::kActivateBootloader);
    Pause(kSwitchPause);
    port_->FlushInput();
    port_->WriteByte(target::kCancel);
    port_->WriteByte(target::kCancel);
    Pause(kCancelPause);
    if (RunBootloaderPing() == 0) {
      throw std::runtime_error("Bootloader doesn't respond. Exiting");
    }
  });
}

void BootLoader::ActivateApplication() {
  Locked([this] {
    LogMess::GetInstance().Log("Activating application");
    port_->WriteByte(target::kExecuteApplication);
    Pause(kSwitchPause);
    port_->FlushInput();
    if (RunApplicationPing() == 0) {
      throw std::runtime_error("Application doesn't respond. Exiting");
    }
  });
}

void BootLoader::RestoreDefaultParameters() {
  Locked([this] {
    port_->FlushInput();
    port_->WriteByte(target::kRestoreDefaults.front());
    for (std::size_t i = 1; i < target::kRestoreDefaults.size(); ++i) {
      Pause(kRestorePause);
      port_->WriteByte(target::kRestoreDefaults.at(i));
    }
  });
}

void BootLoader::SetVerbose(bool verbose) { LogMess::GetInstance().SetVerbose(verbose); }

void BootLoader::SetTransferCallback(TransferProgress callback) {
  transfer_callback_ = std::move(callback);
}

std::string BootLoader::RunCommand(const std::string& command) {
  return bootloadertms::RunCommand(command);
}

bool BootLoader::IsPortInUse(const std::string& device) {
  return bootloadertms::IsPortInUse(device);
}

std::uint32_t BootLoader::RunBootloaderPing() {
  std::uint32_t attempts_left = kBootloaderPingAttempts;
  for (; attempts_left > 0; --attempts_left) {
    port_->FlushInput();
    port_->WriteByte(target::kPing);
    const std::uint8_t answer = port_->ReadByte();
    LogMess::GetInstance().LogInline(std::string(1, static_cast<char>(answer)));
    Pause(kPingPause);
    LogMess::GetInstance().LogInline(".");
    if (answer == target::kBootloaderAlive) {
      break;
    }
  }
  LogMess::GetInstance().Log("");
  return attempts_left;
}

std::uint8_t BootLoader::RunApplicationPing() {
  std::chrono::milliseconds budget = kApplicationPingBudget;
  std::string answer;
  while (budget != 0ms) {
    port_->FlushInput();
    port_->WriteByte(target::kPing);
    port_->Read(answer);
    LogMess::GetInstance().LogInline(".");
    Pause(kPingPause);
    budget -= kPingPause;
    if (Contains(answer, target::kApplicationAlive)) {
      break;
    }
  }
  LogMess::GetInstance().Log("");
  // Deliberate: 8 bits, and an answer to the last attempt leaves nothing and so counts as none.
  return static_cast<std::uint8_t>(budget.count());
}

}  // namespace kvo::bootloadertms
