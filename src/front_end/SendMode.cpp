#include "front_end/Answers.h"
#include "front_end/Arguments.h"
#include "front_end/FrontEndLog.h"
#include "front_end/Modes.h"
#include "front_end/OptionValues.h"

namespace kvo::bootloadertms {

void RunSendMode(const ArgumentList& arguments, IBootLoader& client) {
  const std::uint8_t byte = ParseByteToSend(arguments);
  FrontEndLog().LogInline("\nSend CMD (" + arguments.GetOption(option::kSend) + ")...");
  PrintAnswer(client.SendCharacter(byte));
  FrontEndLog().LogInline(" [OK]\n");
}

}  // namespace kvo::bootloadertms
