#pragma once

#include <cstddef>

// What stands where on the command line, and the switches' exact texts.
namespace kvo::bootloadertms::option {

inline constexpr int kFewestArguments = 4;

inline constexpr std::size_t kDevice = 0;
inline constexpr std::size_t kBaudRate = 1;
inline constexpr std::size_t kImagePath = 2;  // in the upload mode only

inline constexpr const char* kVerbose = "--verbose";
inline constexpr const char* kActiveBootloader = "--active_bootloader";
inline constexpr const char* kActiveApplication = "--active_application";
inline constexpr const char* kApplicationInfo = "--application_info";
inline constexpr const char* kCommand = "--command";
inline constexpr const char* kSend = "--send";

}  // namespace kvo::bootloadertms::option
