#pragma once

#include <cstddef>

// What help says, on 80 columns; what an option does begins at a column of its own.
namespace kvo::boards::help {

inline constexpr std::size_t kTextColumn = 24;

inline constexpr const char* kBaudRates = "9600, 19200, 38400, 57600, 115200 or 1000000";

inline constexpr const char* kProgram =
    "Brings an image onto many boards at once, or tells what is plugged in.";
inline constexpr const char* kUsage =
    "kvo-boards flash [OPTIONS] IMAGE PORT...\n"
    "       kvo-boards watch [OPTIONS] IMAGE PATTERN...\n"
    "       kvo-boards info [OPTIONS] PORT...\n"
    "       kvo-boards list [OPTIONS]\n"
    "\n"
    "Commands:\n"
    "  flash                 Bring IMAGE onto the board at each PORT and start it\n"
    "  watch                 Do so with each board that is plugged in\n"
    "  info                  Tell who answers at each PORT; changes nothing\n"
    "  list                  Tell which serial ports there are";
inline constexpr const char* kFooter =
    R"(Exit status:
  0                     All boards are done
  1                     At least one board failed
  2                     Nothing was begun: wrong command line or image
  128 + N               Ended by signal N: 130 after Ctrl-C

'kvo-boards COMMAND --help' lists the options of a command.)";

inline constexpr const char* kFlash =
    "Brings IMAGE onto the board at each PORT, all at once: calls the bootloader,\n"
    "sends the image, waits for the verdict and starts the application.";
inline constexpr const char* kFlashUsage = "kvo-boards flash [OPTIONS] IMAGE PORT...";
inline constexpr const char* kWatch =
    "Flashes the board at each port that matches a PATTERN: those that are there, and\n"
    "each that is plugged in later, until it is interrupted. A port that has been\n"
    "flashed is left alone until it has gone and come back.";
inline constexpr const char* kWatchUsage = "kvo-boards watch [OPTIONS] IMAGE PATTERN...";
inline constexpr const char* kInfo =
    "Tells for each PORT whether bootloader, application or nobody answers, and what\n"
    "the board says of itself. Changes nothing.";
inline constexpr const char* kInfoUsage = "kvo-boards info [OPTIONS] PORT...";
inline constexpr const char* kList =
    "Tells which serial ports this machine has, what is behind them, and which group\n"
    "may use those that you may not.";
inline constexpr const char* kListUsage = "kvo-boards list [OPTIONS]";

inline constexpr const char* kImage = "A raw binary whose name tells the board: fw_tv.bin";
inline constexpr const char* kPort =
    "A device's path, or tcp:HOST:PORT for a serial server's\n"
    "raw connection (IPv6: tcp:[ADDRESS]:PORT)";
inline constexpr const char* kPattern =
    "A path with the wildcards *, ? and [...], in quotes:\n"
    "'/dev/serial/by-path/*'";

inline constexpr const char* kNewOnly = "Leave alone what is plugged in at the start";
inline constexpr const char* kCount = "End after N boards (default: at Ctrl-C)";
inline constexpr const char* kBell = "Ring once for good, three times for failed";

inline constexpr const char* kRecord = "Describe the image by these texts, not by its name";
inline constexpr const char* kNoSwitch = "Don't call the bootloader: it runs already";
inline constexpr const char* kNoStart = "Leave the board in its bootloader";
inline constexpr const char* kDryRun = "Check image and ports, send nothing";
inline constexpr const char* kRaw = "Send the file even if it doesn't look like a raw binary";

inline constexpr const char* kAnswerTimeout =
    "How long to wait for an answer (default: 200 at 1000000\n"
    "baud, 1200 at 9600; 1000 more over TCP)";
inline constexpr const char* kFlashDeadline =
    "Time limit per board and attempt, 0 for none (default:\n"
    "from the image's size, speed and answer time-out)";
inline constexpr const char* kInfoDeadline = "Time limit per board, 0 for none (default: 15)";
inline constexpr const char* kAttempts = "How often to try an upload that breaks off (default: 1)";
inline constexpr const char* kJobs = "How many boards to serve at once (default: all)";

inline constexpr const char* kProgress = "How to show progress: bars, lines, none, auto (default)";
inline constexpr const char* kColor = "When to use colors: always, never, auto (default)";
inline constexpr const char* kAll = "Also ports without hardware behind them";
inline constexpr const char* kJson = "JSON Lines on standard output, and nothing else";
inline constexpr const char* kQuiet = "Show only failures, a line each on standard error";
inline constexpr const char* kLogDir = "Write a log per board to DIR (default: no logs)";
inline constexpr const char* kTrace = "Log each byte on the line, too; needs --log-dir";
inline constexpr const char* kHelp = "Print this help and end";
inline constexpr const char* kVersion = "Print the version and end";

inline constexpr const char* kFlashFooter =
    R"(Example:
  kvo-boards flash fw_tv.bin /dev/ttyUSB0 /dev/ttyUSB1 tcp:10.0.0.5:4001

Why a board fails:
  missing, permission, busy, not-a-terminal, unreachable
                        The port can't be had
  silent                No bootloader answers
  refused               The image is for another board
  broken                A wrong answer or none during the upload
  rejected              The board found the image invalid
  not-started           Flashed, but the application doesn't answer
  deadline              It took too long
  lost                  The port disappeared
  interrupted           By Ctrl-C or another signal
  crashed               The process that served the board ended unexpectedly

Exit status:
  0                     All boards are flashed
  1                     At least one board failed
  2                     Nothing was begun: wrong command line or image
  128 + N               Ended by signal N: 130 after Ctrl-C)";
inline constexpr const char* kWatchFooter =
    R"(Example:
  kvo-boards watch --bell fw_tv.bin '/dev/serial/by-path/*'

After the first Ctrl-C no more boards are begun, and those in work are finished;
the second interrupts them. 'kvo-boards flash --help' tells why a board fails.

Exit status:
  0                     The N boards of --count are flashed
  1                     At least one of them failed
  2                     Nothing was begun: wrong command line or image
  128 + N               Ended by signal N: 130 after Ctrl-C)";
inline constexpr const char* kInfoFooter =
    R"(Exit status:
  0                     All boards answer
  1                     At least one is silent, or its port can't be had
  2                     Nothing was begun: wrong command line
  128 + N               Ended by signal N: 130 after Ctrl-C)";
inline constexpr const char* kListFooter =
    R"(Exit status:
  0                     The ports are listed, even if there are none
  2                     They can't be listed, or wrong command line)";

}  // namespace kvo::boards::help
