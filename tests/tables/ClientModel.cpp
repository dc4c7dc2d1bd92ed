#include "tables/ClientModel.h"

#include <stdexcept>

namespace kvo::bootloadertms::testing {

namespace {

using namespace std::chrono_literals;

constexpr int kBootloaderPings = 9;
constexpr int kApplicationPings = 60;

bool Holds(const std::string& text, const std::string& word) {
  return text.find(word) != std::string::npos;
}

std::string Cleaned(const std::string& text) {
  std::string cleaned;
  for (const char character : text) {
    if (character != '\r' && character != '\n' && character != '\0') {
      cleaned += character;
    }
  }
  return cleaned;
}

std::string Valid(const std::string& answer, const std::string& asked) {
  if (answer.empty() || Holds(answer, ";")) {
    throw std::runtime_error("Invalid response (" + asked +
                             " is probably not activated or command is not implemented). Exiting");
  }
  return answer;
}

}  // namespace

std::string ClientModel::PingBootloader() {
  int attempt = 0;
  bool answered = false;
  while (attempt < kBootloaderPings && !answered) {
    wire_.Flush();
    wire_.Write(0x30);
    answered = wire_.ReadByte() == 'A';
    Sleep(50ms);
    ++attempt;
  }
  return std::to_string(answered ? kBootloaderPings + 1 - attempt : 0);
}

std::string ClientModel::PingApplication() {
  for (int attempt = 1; attempt <= kApplicationPings; ++attempt) {
    wire_.Flush();
    wire_.Write(0x30);
    const bool answered = Holds(wire_.Read(), "ping_callback_function");
    Sleep(50ms);
    if (answered) {
      return std::to_string((kApplicationPings - attempt) * 50 % 256);
    }
  }
  return "0";
}

std::string ClientModel::Calibrate() {
  wire_.Flush();
  wire_.Write(0x4B);
  Sleep(500ms);
  const std::string answer = wire_.Read();
  if (!Holds(answer, "KVO_CMD_CALIBRATE")) {
    return "0";
  }
  printed_ = "\n" + answer + "\n";
  while (slept_ < 120s) {
    Sleep(100ms);
    if (Holds(wire_.Read(), "---")) {
      return "1";
    }
  }
  return "0";
}

std::string ClientModel::ActivateBootloader() {
  wire_.Write(0x51);
  Sleep(1s);
  wire_.Flush();
  wire_.WriteAll("\x18\x18");
  Sleep(100ms);
  if (PingBootloader() == "0") {
    throw std::runtime_error("Bootloader doesn't respond. Exiting");
  }
  return "";
}

std::string ClientModel::ActivateApplication() {
  wire_.Write(0x36);
  Sleep(1s);
  wire_.Flush();
  if (PingApplication() == "0") {
    throw std::runtime_error("Application doesn't respond. Exiting");
  }
  return "";
}

std::string ClientModel::SendBootloaderCommand(std::uint32_t code) {
  wire_.Flush();
  return Valid(Exchange(static_cast<std::uint8_t>(code % 256), 100ms), "bootloader");
}

std::string ClientModel::SendApplicationCommand(std::uint32_t code) {
  wire_.Flush();
  const std::string answer = Exchange(static_cast<std::uint8_t>(code % 256), 100ms);
  return Valid(code == 0x62 ? Cleaned(answer) : answer, "application");
}

std::string ClientModel::Upload(TransferModel transfer) {
  wire_.WriteAll(transfer.ToSend());
  Sleep(20ms);
  transfer.Play(wire_);
  if (transfer.HasEnded()) {
    throw std::runtime_error("!!! YModem transmit failed. Exiting");
  }
  transfer.Take(wire_.ReadByte());
  if (transfer.GetState() != TransferModel::State::kAccepted) {
    throw std::runtime_error("!!! YModem transfer on boot loader failed. Exiting");
  }
  return "";
}

std::string ClientModel::ReadBootloaderInfos() {
  wire_.Flush();
  std::string infos;
  for (const char question : {'s', 'h', 'p', 'V', 'v'}) {
    const std::string answer = Ask(static_cast<std::uint8_t>(question), 100ms, false);
    infos += (answer == "U" ? "" : answer) + "\n";
  }
  return infos + "BL_OK";
}

std::string ClientModel::ReadApplicationInfos() {
  wire_.Flush();
  const std::string boot_status = Ask(0x62, 20ms, true);
  if (boot_status.empty()) {
    throw std::runtime_error(
        "Application doesn't respond or boot status command not implemented !");
  }
  std::string infos;
  for (const char question : {'s', 'h', 'p', 'V', 'v'}) {
    infos += Ask(static_cast<std::uint8_t>(question), 100ms, false) + "\n";
  }
  return infos + boot_status;
}

std::string ClientModel::RestoreDefaultParameters() {
  wire_.Flush();
  wire_.Write('Q');
  for (const char command : {'6', 't', 'C', 'R', 'L'}) {
    Sleep(100ms);
    wire_.Write(static_cast<std::uint8_t>(command));
  }
  return "";
}

std::string ClientModel::SendCharacter(std::uint8_t character) {
  wire_.Flush();
  std::string answer = Cleaned(Exchange(character, 100ms));
  if (answer == "U") {
    throw std::runtime_error("Invalid command. Exiting");
  }
  return answer;
}

void ClientModel::Sleep(std::chrono::nanoseconds time) {
  slept_ += time;
  wire_.Sleep(time);
}

std::string ClientModel::Exchange(std::uint8_t request, std::chrono::milliseconds wait) {
  wire_.Write(request);
  Sleep(wait);
  return wire_.Read();
}

std::string ClientModel::Ask(std::uint8_t request, std::chrono::milliseconds wait,
                             bool again_for_signature) {
  while (true) {
    std::string answer = Cleaned(Exchange(request, wait));
    const bool cannot = Holds(answer, "can") || Holds(answer, "Can") || Holds(answer, "CAN");
    if (!cannot && !(again_for_signature && Holds(answer, "signature"))) {
      return answer;
    }
  }
}

}  // namespace kvo::bootloadertms::testing
