#pragma once

#include <kvo/bootloadertms/IBootLoader.h>

#include <chrono>
#include <functional>
#include <string>

#include "boards/Events.h"
#include "boards/Plan.h"
#include "boards/TransferWatch.h"

// What is done with one board, once its port is open.
namespace kvo::boards {

// Tells the supervisor something.
using Tell = std::function<void(const Event& event)>;

// To the bootloader, image, verdict, application, as the plan has it; tells each step, and returns
// the event that finishes it. `is_repeated`: an attempt failed before, so that the board may still
// wait for the rest of a transfer. A board that is in a transfer when it fails is sent CAN CAN,
// unless it has ended the transfer itself. What the port throws passes through.
Event Flash(const Plan& plan, bool is_repeated, std::chrono::milliseconds answer_timeout,
            bootloadertms::IBootLoader& client, TransferWatch& watch, const Tell& tell);

// Asks a board what it is: sends nothing but pings and questions. A board that has answered no ping
// within three seconds is silent. Tells each answer, and returns the event that finishes it. What
// the port throws passes through.
Event Ask(bootloadertms::IBootLoader& client, const Tell& tell);

}  // namespace kvo::boards
