#pragma once

#include "simulator/ByteStream.h"
#include "simulator/TextSender.h"
#include "simulator/Trace.h"

namespace kvo::boardsimulator {

struct CalibrationSettings {
  bool refused = false;                     // no answer, no calibration
  std::optional<std::uint32_t> lines = 3;   // of progress; nothing: it never ends
  std::chrono::milliseconds interval{200};  // before each line
};

// The application's calibration: an answer, lines of progress and a line that marks the end. The
// board does nothing else meanwhile, so what arrives is lost. A host that closes the line ends it.
// Borrows everything but the settings.
class Calibration {
 public:
  Calibration(ByteStream& stream, TextSender& texts, Trace& trace, CalibrationSettings settings)
      : stream_(stream), texts_(texts), trace_(trace), settings_(settings) {}

  void Run();

 private:
  bool Report();
  bool SendLine(const std::string& line);

  ByteStream& stream_;
  TextSender& texts_;
  Trace& trace_;
  CalibrationSettings settings_;
};

}  // namespace kvo::boardsimulator
