#include "front_end/Arguments.h"
#include "front_end/Modes.h"
#include "log/LogMess.h"

namespace kvo::bootloadertms {

// Both messages go through the process-wide log, which the front end never makes verbose, so they
// never show; meant so.
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
