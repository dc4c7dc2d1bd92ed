#include <stdexcept>
#include <string>
#include <vector>

#include "front_end/Answers.h"
#include "front_end/Arguments.h"
#include "front_end/CommandTable.h"
#include "front_end/FrontEndLog.h"
#include "front_end/Modes.h"
#include "front_end/OptionValues.h"

namespace kvo::bootloadertms {

namespace {

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

void RunCommandMode(const ArgumentList& arguments, IBootLoader& client) {
  const Command* command = FindCommand(ParseCommandCode(arguments));
  try {
    RunAndPrint(command, arguments.GetOption(option::kCommand), client);
  } catch (const std::runtime_error& error) {
    FrontEndLog().LogInline(" [KO]");
    throw std::runtime_error(error);  // a plain one, whatever was caught; meant so
  }
}

}  // namespace kvo::bootloadertms
