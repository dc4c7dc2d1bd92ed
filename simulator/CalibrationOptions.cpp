#include "simulator/CalibrationOptions.h"

#include "simulator/OptionValues.h"
#include "simulator/TextParsing.h"

namespace kvo::boardsimulator {
namespace {

std::optional<std::uint32_t> ReadLines(std::string_view text) {
  if (text == "endless") {
    return std::nullopt;
  }
  return NeedNumber(text, 0, kLargestCount, "if not 'endless', the count of lines");
}

}  // namespace

void AddCalibrationOptions(CLI::App& app, CalibrationSettings& calibration) {
  AddOption(app,
            {"--calibration-lines", "N",
             "How many lines come before the end of a calibration, or 'endless' "
             "(default: 3)"},
            [&calibration](const std::string& text) { calibration.lines = ReadLines(text); });
  AddNumber(app,
            {"--calibration-interval", "MS", "The time before each of these lines (default: 200)"},
            1, kLongestTimeInMs, [&calibration](std::uint32_t time) {
              calibration.interval = std::chrono::milliseconds(time);
            });
  app.add_flag("--calibration-refused", calibration.refused,
               "Do not answer the request to calibrate");
}

}  // namespace kvo::boardsimulator
