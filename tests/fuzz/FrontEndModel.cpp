#include "fuzz/FrontEndModel.h"

#include <algorithm>
#include <stdexcept>

#include "tables/Commands.h"

namespace kvo::bootloadertms::testing {

namespace {

// Null when there is none.
const Command* CommandOf(std::uint32_t code) {
  const auto& commands = Commands();
  const auto command = std::find_if(commands.begin(), commands.end(),
                                    [code](const Command& row) { return row.code == code; });
  return command == commands.end() ? nullptr : &*command;
}

// With the code as it was typed in place of the table's.
std::string ProgressText(const Command* command, const std::string& typed) {
  if (command == nullptr) {
    return "\nSend CMD (" + typed + ")...";
  }
  std::string text = command->progress;
  const std::string code = Typed(command->code);
  const std::size_t place = text.find(code);
  return place == std::string::npos ? text : text.replace(place, code.size(), typed);
}

// The sign and the digits of a number.
struct Digits {
  bool is_negative = false;
  std::string digits;
};

Digits DigitsOf(const std::string& text, const std::string& digits, const std::string& prefix) {
  const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
  std::string rest = start == std::string::npos ? "" : text.substr(start);
  const bool has_sign = !rest.empty() && (rest[0] == '-' || rest[0] == '+');
  const bool is_negative = has_sign && rest[0] == '-';
  rest = rest.substr(has_sign ? 1 : 0);
  const bool has_prefix = rest.size() > 1 && !prefix.empty() &&
                          (rest.substr(0, 2) == "0x" || rest.substr(0, 2) == "0X");
  rest = rest.substr(has_prefix ? 2 : 0);
  std::string found = rest.substr(0, rest.find_first_not_of(digits));
  return {is_negative, has_prefix ? "0" + found : found};
}

// Held at 2^64.
__extension__ using Wide = unsigned __int128;

Wide ValueOfDigits(const std::string& digits, unsigned base) {
  const Wide limit = Wide{1} << 64;
  Wide value = 0;
  for (const char digit : digits) {
    const auto is = static_cast<unsigned>(digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10);
    value = std::min<Wide>(value * base + is, limit);
  }
  return value;
}

}  // namespace

void FrontEndModel::RunMode(IBootLoader& client) {
  if (Has("--command")) {
    RunCommand(client);
  } else if (Has("--send")) {
    Send(client);
  } else if (Has("--application_info")) {
    ReadApplicationInformation(client);
  } else {
    Upload(client);
  }
}

bool FrontEndModel::Has(const std::string& option) const {
  for (const std::string& argument : arguments_) {
    if (argument == option) {
      return true;
    }
  }
  return false;
}

std::string FrontEndModel::ValueOf(const std::string& option) const {
  for (std::size_t i = 0; i + 1 < arguments_.size(); ++i) {
    if (arguments_[i] == option) {
      return arguments_[i + 1];
    }
  }
  return "";
}

void FrontEndModel::RunCommand(IBootLoader& client) {
  const std::string typed = ValueOf("--command");
  const std::uint32_t code =
      HexadecimalNumber(typed, "No command specified. Exiting", "Invalid command : ");
  const Command* const command = CommandOf(code);
  Log(ProgressText(command, typed));
  try {
    if (command == nullptr) {
      throw std::runtime_error("Command not implemented. Exiting");
    }
    const std::vector<std::string> answers = command->run(client);
    Log(" [OK]\n");
    for (const std::string& answer : answers) {
      printed_ += answer + "\n";
    }
  } catch (const std::runtime_error& error) {
    Log(" [KO]");
    throw std::runtime_error(error.what());
  }
}

void FrontEndModel::Send(IBootLoader& client) {
  const std::string typed = ValueOf("--send");
  const std::uint32_t value = HexadecimalNumber(typed, "No command specified to send. Exiting",
                                                "Invalid command to send : ");
  Log("\nSend CMD (" + typed + ")...");
  printed_ += client.SendCharacter(static_cast<std::uint8_t>(value % 256)) + "\n";
  Log(" [OK]\n");
}

void FrontEndModel::ReadApplicationInformation(IBootLoader& client) {
  if (Has("--active_bootloader")) {
    Log("Active bootloader ... ");
    client.ActivateBootloader();
  }
  printed_ += client.SendBootloaderCommand(57) + "\n";
  client.ActivateApplication();
}

void FrontEndModel::Upload(IBootLoader& client) {
  if (Has("--active_bootloader")) {
    LogProcessWide("Active bootloader ... ");
    client.ActivateBootloader();
  }
  client.UploadImage(arguments_.at(2));
  if (Has("--active_application")) {
    LogProcessWide("Launching application ... ");
    client.ActivateApplication();
  }
}

void FrontEndModel::Log(const std::string& text) { printed_ += Has("--verbose") ? text : ""; }

void FrontEndModel::LogProcessWide(const std::string& text) {
  printed_ += log_is_verbose_ ? text : "";
}

std::uint32_t DecimalNumber(const std::string& text) {
  const Digits number = DigitsOf(text, "0123456789", "");
  const Wide magnitude = ValueOfDigits(number.digits, 10);
  const Wide limit = Wide{1} << 63;
  if (number.is_negative) {
    return static_cast<std::uint32_t>(0 - std::min<Wide>(magnitude, limit));
  }
  return static_cast<std::uint32_t>(std::min<Wide>(magnitude, limit - 1));
}

std::uint32_t HexadecimalNumber(const std::string& text, const std::string& if_empty,
                                const std::string& if_invalid) {
  if (text.empty()) {
    throw std::runtime_error(if_empty);
  }
  const Digits number = DigitsOf(text, "0123456789abcdefABCDEF", "0x");
  if (number.digits.empty()) {
    throw std::runtime_error(if_invalid + text);
  }
  const Wide magnitude = ValueOfDigits(number.digits, 16);
  if (magnitude >= Wide{1} << 64) {
    return 0xFFFFFFFF;  // what the C library makes of it, whatever the sign
  }
  return static_cast<std::uint32_t>(number.is_negative ? 0 - magnitude : magnitude);
}

}  // namespace kvo::bootloadertms::testing
