#pragma once

#include <cstddef>

// The help texts, at most 80 columns wide; descriptions of options begin at `kTextColumn`.
namespace kvo::boards::help {

inline constexpr std::size_t kTextColumn = 24;

inline constexpr const char* kBaudRates = "9600, 19200, 38400, 57600, 115200 or 1000000";

inline constexpr const char* kProgram =
    "Flashes an image to many boards at once, or shows what is plugged in.";
inline constexpr const char* kUsage =
    "kvo-boards flash [OPTIONS] IMAGE PORT...\n"
    "       kvo-boards watch [OPTIONS] IMAGE PATTERN...\n"
    "       kvo-boards info [OPTIONS] PORT...\n"
    "       kvo-boards list [OPTIONS]\n"
    "\n"
    "Commands:\n"
    "  flash                 Flash IMAGE to the board at each PORT and start it\n"
    "  watch                 Flash each board that is plugged in\n"
    "  info                  Show what answers at each PORT; changes nothing\n"
    "  list                  List the serial ports of this machine";
inline constexpr const char* kFooter =
    R"(Exit status:
  0                     Success
  1                     At least one board failed
  2                     Nothing was started: wrong command line or image
  128 + N               Ended by signal N: 130 after Ctrl-C

'kvo-boards COMMAND --help' lists the options of a command.)";

inline constexpr const char* kFlash =
    "Flashes IMAGE to the board at each PORT, all at once: switches the board to its\n"
    "bootloader, sends the image, waits for the verdict and starts the application.";
inline constexpr const char* kFlashUsage = "kvo-boards flash [OPTIONS] IMAGE PORT...";
inline constexpr const char* kWatch =
    "Flashes the board at each port that matches a PATTERN: those plugged in now, and\n"
    "each one plugged in later, until interrupted. A port that has been served is\n"
    "ignored until it disappears and comes back.";
inline constexpr const char* kWatchUsage = "kvo-boards watch [OPTIONS] IMAGE PATTERN...";
inline constexpr const char* kInfo =
    "Shows whether the bootloader or the application at each PORT answers, and what\n"
    "the board reports about itself. Changes nothing.";
inline constexpr const char* kInfoUsage = "kvo-boards info [OPTIONS] PORT...";
inline constexpr const char* kList =
    "Lists the serial ports of this machine, their hardware, and the group whose\n"
    "members can open a port if you can't.";
inline constexpr const char* kListUsage = "kvo-boards list [OPTIONS]";

inline constexpr const char* kImage = "A raw binary whose name selects the board: fw_tv.bin";
inline constexpr const char* kPort =
    "The path of a device, or tcp:HOST:PORT for a raw\n"
    "connection to a serial server (IPv6: tcp:[ADDRESS]:PORT)";
inline constexpr const char* kPattern =
    "A path with the wildcards *, ? and [...], in quotes:\n"
    "'/dev/serial/by-path/*'";

inline constexpr const char* kNewOnly = "Ignore boards that are already plugged in at the start";
inline constexpr const char* kCount = "Stop after N boards (default: at Ctrl-C)";
inline constexpr const char* kBell = "Ring once for flashed, three times for failed";

inline constexpr const char* kRecord = "Describe the image by these texts, not by its name";
inline constexpr const char* kNoSwitch = "Don't switch: the bootloader is already running";
inline constexpr const char* kNoStart = "Leave the board in its bootloader";
inline constexpr const char* kDryRun = "Check image and ports; send nothing";
inline constexpr const char* kRaw = "Send the file even if it doesn't look like a raw binary";

inline constexpr const char* kAnswerTimeout =
    "How long to wait for an answer (default: 200 at 1000000\n"
    "baud, 1200 at 9600; 1000 more over TCP)";
inline constexpr const char* kFlashDeadline =
    "Time limit per board and attempt, 0 for none (default:\n"
    "from image size, baud rate and answer timeout)";
inline constexpr const char* kInfoDeadline = "Time limit per board, 0 for none (default: 15)";
inline constexpr const char* kAttempts = "Try a failed upload up to N times (default: 1)";
inline constexpr const char* kJobs = "Serve at most N boards at once (default: all)";

inline constexpr const char* kProgress = "How to show progress: bars, lines, none, auto (default)";
inline constexpr const char* kColor = "When to use colors: always, never, auto (default)";
inline constexpr const char* kAll = "Also list ports without hardware";
inline constexpr const char* kJson = "JSON Lines on standard output, and nothing else";
inline constexpr const char* kQuiet = "Show only failures, one line each on standard error";
inline constexpr const char* kLogDir = "Write a log per board to DIR (default: no logs)";
inline constexpr const char* kTrace = "Also log each byte on the line; requires --log-dir";
inline constexpr const char* kHelp = "Print this help and exit";
inline constexpr const char* kVersion = "Print the version and exit";

inline constexpr const char* kFlashFooter =
    R"(Example:
  kvo-boards flash fw_tv.bin /dev/ttyUSB0 /dev/ttyUSB1 tcp:10.0.0.5:4001

Why a board fails:
  missing, permission, busy, not-a-terminal, unreachable
                        The port is not available
  silent                No bootloader answers
  refused               The image is for another board
  broken                A wrong or missing answer during the upload
  rejected              The board found the image invalid
  not-started           Flashed, but the application doesn't answer
  deadline              It took too long
  lost                  The port disappeared or failed
  interrupted           Ctrl-C or another signal
  crashed               The process that served the board ended unexpectedly

Exit status:
  0                     All boards were flashed
  1                     At least one board failed
  2                     Nothing was started: wrong command line or image
  128 + N               Ended by signal N: 130 after Ctrl-C)";
inline constexpr const char* kWatchFooter =
    R"(Example:
  kvo-boards watch --bell fw_tv.bin '/dev/serial/by-path/*'

The first Ctrl-C lets the boards in progress finish and starts no more; the
second stops them. 'kvo-boards flash --help' lists the reasons for failures.

Exit status:
  0                     The N boards of --count were flashed
  1                     At least one of them failed
  2                     Nothing was started: wrong command line or image
  128 + N               Ended by signal N: 130 after Ctrl-C)";
inline constexpr const char* kInfoFooter =
    R"(Exit status:
  0                     All boards answered
  1                     At least one is silent, or its port is not available
  2                     Nothing was started: wrong command line
  128 + N               Ended by signal N: 130 after Ctrl-C)";
inline constexpr const char* kListFooter =
    R"(Exit status:
  0                     The ports were listed, even if there are none
  2                     They can't be listed, or the command line is wrong)";

}  // namespace kvo::boards::help
