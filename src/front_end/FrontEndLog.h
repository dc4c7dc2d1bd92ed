#pragma once

#include "log/LogMess.h"

namespace kvo::bootloadertms {

// The front end's own log, which "--verbose" switches on. What the client and the uploads report
// goes through the process-wide log and so stays silent; meant so.
LogMess& FrontEndLog();

}  // namespace kvo::bootloadertms
