#pragma once

#include <CLI/CLI.hpp>

#include "simulator/Calibration.h"

namespace kvo::boardsimulator {

// Adds the options for how the application calibrates.
void AddCalibrationOptions(CLI::App& app, CalibrationSettings& calibration);

}  // namespace kvo::boardsimulator
