#include "front_end/Answers.h"
#include "front_end/Arguments.h"
#include "front_end/FrontEndLog.h"
#include "front_end/Modes.h"

namespace kvo::bootloadertms {

namespace {

constexpr std::uint32_t kReadApplicationInfo = 0x39;  // BL_CMD_APP_INFO

}  // namespace

void RunApplicationInfoMode(const ArgumentList& arguments, IBootLoader& client) {
  if (arguments.HasOption(option::kActiveBootloader)) {
    FrontEndLog().LogInline("Active bootloader ... ");
    client.ActivateBootloader();
  }
  PrintAnswer(client.SendBootloaderCommand(kReadApplicationInfo));
  client.ActivateApplication();  // always, asked for or not; meant so
}

}  // namespace kvo::bootloadertms
