#include "front_end/FrontEndLog.h"

namespace kvo::bootloadertms {

namespace {

LogMess front_end_log = LogMess::GetInstance();

}  // namespace

LogMess& FrontEndLog() { return front_end_log; }

}  // namespace kvo::bootloadertms
