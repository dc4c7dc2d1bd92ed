#include "front_end/Modes.h"

#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "front_end/Commands.h"

namespace kvo::bootloadertms {

namespace {

constexpr std::uint32_t kReadApplicationInfo = 0x39;  // BL_CMD_APP_INFO

LogMess front_end_log = LogMess::GetInstance();

// Verbatim, NUL bytes included, whatever the verbose setting.
void PrintAnswer(const std::string& answer) { std::cout << answer << std::endl; }

std::string ProgressText(const Command* command, const std::string& typed) {
  if (command == nullptr) {
    return "\nSend CMD (" + typed + ")...";
  }
  const std::string label = command->progress_label;
  return "\nSend " + label + (command->shows_typed_text ? " (" + typed + ")..." : " ...");
}

void RunAndPrint(const Command* command, const std::string& typed, IBootLoader& client) {
  FrontEndLog().LogInline(ProgressText(command, typed));
  if (command == nullptr) {
    throw std::runtime_error("Command not implemented. Exiting");
  }
  const std::vector<std::string> answers = command->run(client);
  FrontEndLog().LogInline(" [OK]\n");
  for (const std::string& answer : answers) {
    PrintAnswer(answer);
  }
}

}  // namespace

LogMess& FrontEndLog() { return front_end_log; }

void RunChosenMode(const ArgumentList& arguments, IBootLoader& client) {
  if (arguments.HasOption(option::kCommand)) {
    RunCommandMode(arguments, client);
  } else if (arguments.HasOption(option::kSend)) {
    RunSendMode(arguments, client);
  } else if (arguments.HasOption(option::kApplicationInfo)) {
    RunApplicationInfoMode(arguments, client);
  } else {
    RunUploadMode(arguments, client);
  }
}

void RunCommandMode(const ArgumentList& arguments, IBootLoader& client) {
  const Command* command = FindCommand(ParseCommandCode(arguments));
  try {
    RunAndPrint(command, arguments.GetOption(option::kCommand), client);
  } catch (const std::runtime_error& error) {
    FrontEndLog().LogInline(" [KO]");
    throw std::runtime_error(error);  // Deliberate: a plain one, whatever was caught.
  }
}

void RunSendMode(const ArgumentList& arguments, IBootLoader& client) {
  const std::uint8_t byte = ParseByteToSend(arguments);
  FrontEndLog().LogInline("\nSend CMD (" + arguments.GetOption(option::kSend) + ")...");
  PrintAnswer(client.SendCharacter(byte));
  FrontEndLog().LogInline(" [OK]\n");
}

void RunApplicationInfoMode(const ArgumentList& arguments, IBootLoader& client) {
  if (arguments.HasOption(option::kActiveBootloader)) {
    FrontEndLog().LogInline("Active bootloader ... ");
    client.ActivateBootloader();
  }
  PrintAnswer(client.SendBootloaderCommand(kReadApplicationInfo));
  client.ActivateApplication();  // Deliberate: always, asked for or not.
}

// Deliberate: both messages go through the process-wide log and so never show.
void RunUploadMode(const ArgumentList& arguments, IBootLoader& client) {
  if (arguments.HasOption(option::kActiveBootloader)) {
    LogMess::GetInstance().LogInline("Active bootloader ... ");
    client.ActivateBootloader();
  }
  client.UploadImage(arguments.At(option::kImagePath));
  if (arguments.HasOption(option::kActiveApplication)) {
    LogMess::GetInstance().LogInline("Launching application ... ");
    client.ActivateApplication();
  }
}

}  // namespace kvo::bootloadertms
