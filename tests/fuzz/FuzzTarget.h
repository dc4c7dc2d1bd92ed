#pragma once

#include <cstddef>
#include <cstdint>

// What each fuzz target defines: one run of the code under test on `data`, which ends the process
// when something is wrong. libFuzzer calls it, or ReplayMain.cpp with the inputs that are kept.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
