#include "fuzz/ClientModel.h"

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
    line_.Flush();
    line_.Write(std::uint8_t{0x30});
    answered = line_.ReadByte() == 'A';
    line_.Sleep(50ms);
    ++attempt;
  }
  return std::to_string(answered ? kBootloaderPings + 1 - attempt : 0);
}

std::string ClientModel::PingApplication() {
  for (int attempt = 1; attempt <= kApplicationPings; ++attempt) {
    line_.Flush();
    line_.Write(std::uint8_t{0x30});
    const bool answered = Holds(line_.Read(), "ping_callback_function");
    line_.Sleep(50ms);
    if (answered) {
      return std::to_string((kApplicationPings - attempt) * 50 % 256);
    }
  }
  return "0";
}

std::string ClientModel::Calibrate() {
  line_.Flush();
  line_.Write(std::uint8_t{0x4B});
  line_.Sleep(500ms);
  const std::string answer = line_.Read();
  if (!Holds(answer, "KVO_CMD_CALIBRATE")) {
    return "0";
  }
  printed_ = "\n" + answer + "\n";
  while (line_.Slept() < 120s) {
    line_.Sleep(100ms);
    if (Holds(line_.Read(), "---")) {
      return "1";
    }
  }
  return "0";
}

std::string ClientModel::ActivateBootloader() {
  line_.Write(std::uint8_t{0x51});
  line_.Sleep(1s);
  line_.Flush();
  line_.Write("\x18\x18");
  line_.Sleep(100ms);
  if (PingBootloader() == "0") {
    throw std::runtime_error("Bootloader doesn't respond. Exiting");
  }
  return "";
}

std::string ClientModel::ActivateApplication() {
  line_.Write(std::uint8_t{0x36});
  line_.Sleep(1s);
  line_.Flush();
  if (PingApplication() == "0") {
    throw std::runtime_error("Application doesn't respond. Exiting");
  }
  return "";
}

std::string ClientModel::SendBootloaderCommand(std::uint32_t code) {
  line_.Flush();
  return Valid(Exchange(static_cast<std::uint8_t>(code % 256), 100ms), "bootloader");
}

std::string ClientModel::SendApplicationCommand(std::uint32_t code) {
  line_.Flush();
  const std::string answer = Exchange(static_cast<std::uint8_t>(code % 256), 100ms);
  return Valid(code == 0x62 ? Cleaned(answer) : answer, "application");
}

std::string ClientModel::Upload(TransferModel transfer) {
  line_.Write(std::uint8_t{0x31});
  line_.Sleep(20ms);
  if (transfer.Play(line_) != TransferModel::Result::kSent) {
    throw std::runtime_error("!!! YModem transmit failed. Exiting");
  }
  if (line_.ReadByte() != 'O') {
    throw std::runtime_error("!!! YModem transfer on boot loader failed. Exiting");
  }
  return "";
}

std::string ClientModel::ReadBootloaderInfos() {
  line_.Flush();
  std::string infos;
  for (const char question : {'s', 'h', 'p', 'V', 'v'}) {
    const std::string answer = Ask(static_cast<std::uint8_t>(question), 100ms, false);
    infos += (answer == "U" ? "" : answer) + "\n";
  }
  return infos + "BL_OK";
}

std::string ClientModel::ReadApplicationInfos() {
  line_.Flush();
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
  line_.Flush();
  line_.Write(std::uint8_t{'Q'});
  for (const char command : {'6', 't', 'C', 'R', 'L'}) {
    line_.Sleep(100ms);
    line_.Write(static_cast<std::uint8_t>(command));
  }
  return "";
}

std::string ClientModel::SendCharacter(std::uint8_t character) {
  line_.Flush();
  std::string answer = Cleaned(Exchange(character, 100ms));
  if (answer == "U") {
    throw std::runtime_error("Invalid command. Exiting");
  }
  return answer;
}

std::string ClientModel::Exchange(std::uint8_t request, std::chrono::milliseconds wait) {
  line_.Write(request);
  line_.Sleep(wait);
  return line_.Read();
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
