#pragma once

#include <string>

namespace kvo::bootloadertms {

// The whole program: one action, then the end. Ends the process with status 0 when the action
// succeeded; returns 1 otherwise, after telling why: the usage text on standard error for too few
// arguments, the message of the `std::runtime_error` on standard output for all else. Other
// exceptions propagate. A lost standard output changes nothing of that: see
// `ProtectStandardStreams`.
int RunUtility(int argc, const char* const* argv);

// What a wrong count of arguments gets, each line ended by a newline.
std::string UsageText();

// Makes sure that what becomes of the program's texts never decides what becomes of the board:
// - A reader of the output that goes away no longer ends the process half-way through an upload.
//   Programs that this one starts are not affected.
// - A standard input, output or error that was closed leads to /dev/null. Otherwise the serial port
//   would take its place, and the board would get the texts.
void ProtectStandardStreams();

}  // namespace kvo::bootloadertms
