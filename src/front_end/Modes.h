#pragma once

#include "client/IBootLoader.h"
#include "front_end/Arguments.h"
#include "log/LogMess.h"

namespace kvo::bootloadertms {

// The front end's own log, which "--verbose" switches on.
// Deliberate: the process-wide log, through which client and uploads report, stays silent.
LogMess& FrontEndLog();

// The four things that a run can do, each a fixed sequence of the client's operations with progress
// texts around them. They return when all went well; what failed is a `std::runtime_error` with the
// client's text or one of the texts given here.

// Runs the mode that the arguments ask for; the upload when they name no other.
void RunChosenMode(const ArgumentList& arguments, IBootLoader& client);

// One command by its code. Throws what `ParseCommandCode` throws, "Command not implemented.
// Exiting", "Calibration failed. Exiting", "Bootloader doesn't respond. Exiting  " (two trailing
// blanks), "Application doesn't respond. Exiting".
void RunCommandMode(const ArgumentList& arguments, IBootLoader& client);

// One byte. Throws what `ParseByteToSend` throws.
void RunSendMode(const ArgumentList& arguments, IBootLoader& client);

// The application's information, read through the bootloader; then the application is started.
void RunApplicationInfoMode(const ArgumentList& arguments, IBootLoader& client);

// An image file, with the switches to and from the bootloader around it where asked for.
void RunUploadMode(const ArgumentList& arguments, IBootLoader& client);

}  // namespace kvo::bootloadertms
