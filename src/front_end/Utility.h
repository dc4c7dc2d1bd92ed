#pragma once

namespace kvo::bootloadertms {

// The whole program: one action, then the end. Ends the process with status 0 when the action
// succeeded; returns 1 otherwise, after telling why: the usage text on standard error for too few
// arguments, the message of the `std::runtime_error` on standard output for all else. Other
// exceptions leave. A lost standard output changes nothing of that: see
// front_end/StandardStreams.h.
int RunUtility(int argc, const char* const* argv);

}  // namespace kvo::bootloadertms
