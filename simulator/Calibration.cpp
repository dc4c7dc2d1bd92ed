#include "simulator/Calibration.h"

#include <string>

namespace kvo::boardsimulator {

void Calibration::Run() {
  if (settings_.refused) {
    return trace_.Event("calibration refused", stream_.Now());
  }
  trace_.Event("calibration started", stream_.Now());
  texts_.AnswerLine("KVO_CMD_CALIBRATE");
  const bool finished = Report();
  trace_.Event(finished ? "calibration finished" : "calibration ended: the host has gone",
               stream_.Now());
}

// Returns whether it came to its end.
bool Calibration::Report() {
  for (std::uint32_t line = 1; !settings_.lines || line <= *settings_.lines; ++line) {
    if (!SendLine("calibration step " + std::to_string(line))) {
      return false;
    }
  }
  return SendLine("---");
}

// Returns false if the host has closed the line before the line was due.
bool Calibration::SendLine(const std::string& line) {
  const std::uint64_t departures = stream_.Departures();
  stream_.DiscardUntil(stream_.Now() + settings_.interval);
  if (stream_.Departures() != departures) {
    return false;
  }
  texts_.ReportLine(line);
  return true;
}

}  // namespace kvo::boardsimulator
