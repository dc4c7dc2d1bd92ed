#pragma once

#include <array>
#include <cstdint>

// The bytes and texts of the board's one-byte protocol; docs/protocol.md describes it.
namespace kvo::bootloadertms::target {

// Requests that the bootloader answers.
inline constexpr std::uint8_t kPing = 0x30;                // BL_CMD_PING; the application's too
inline constexpr std::uint8_t kReceiveImage = 0x31;        // starts the transfer of an image
inline constexpr std::uint8_t kExecuteApplication = 0x36;  // BL_CMD_EXEC_APP

// Requests that the application answers.
inline constexpr std::uint8_t kCalibrate = 0x4B;           // APP_CALIB
inline constexpr std::uint8_t kActivateBootloader = 0x51;  // APP_ACTIVE_BOOTLOADER
inline constexpr std::uint8_t kSafeBootStatus = 0x62;      // APP_CMD_SAFE_BOOT_STATUS
inline constexpr std::array<std::uint8_t, 6> kRestoreDefaults = {'Q', '6', 't', 'C', 'R', 'L'};

// Questions that both answer.
inline constexpr std::uint8_t kQuestionS = 's';
inline constexpr std::uint8_t kQuestionH = 'h';
inline constexpr std::uint8_t kQuestionP = 'p';
inline constexpr std::uint8_t kQuestionUpperV = 'V';
inline constexpr std::uint8_t kQuestionV = 'v';

// Answers.
inline constexpr std::uint8_t kBootloaderAlive = 0x41;  // 'A', to a ping
inline constexpr std::uint8_t kImageAccepted = 0x4F;    // 'O', the verdict on a received image
inline constexpr const char* kApplicationAlive = "ping_callback_function";
inline constexpr const char* kCalibrationStarted = "KVO_CMD_CALIBRATE";
inline constexpr const char* kCalibrationFinished = "---";
inline constexpr const char* kUnknownCommand = "U";

// YModem's CAN, which also ends a transfer that a former run left unfinished.
inline constexpr std::uint8_t kCancel = 0x18;

}  // namespace kvo::bootloadertms::target
