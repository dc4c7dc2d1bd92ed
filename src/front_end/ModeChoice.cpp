#include "front_end/Arguments.h"
#include "front_end/Modes.h"

namespace kvo::bootloadertms {

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

}  // namespace kvo::bootloadertms
