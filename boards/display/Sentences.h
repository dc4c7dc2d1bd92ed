#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "boards/BoardStatus.h"
#include "boards/display/Display.h"

// The words in which displays and logs speak of the boards.
namespace kvo::boards {

enum class Task : std::uint8_t { kFlash, kDryRun, kInfo };

// What is being done with the board: "sending".
std::string Doing(Step step);

// How it ended, which it must have: "flashed in 3.4 s", "failed: " and the message, "ready",
// "silent", or "bootloader, serial SN000042" and whatever else it has answered.
std::string Result(const BoardStatus& board);

// "4 boards: 3 flashed, 1 failed"
std::string Summary(const Totals& totals, Task task);

// "12 flashed, 0 failed", in the middle of a watch.
std::string RunningTotals(const Totals& totals, Task task);

// "Waiting for boards at /dev/serial/by-path/*"
std::string WaitingFor(const std::vector<std::string>& patterns);

// "plugged in", or that the board isn't touched.
std::string Arrival(const BoardStatus& board);

// Of the image, 100 at most.
int Percent(const BoardStatus& board);

// With one digit after a point, whatever the locale.
std::string Decimal(double value);

// Now, with a second's `digits` digits: "2026-11-22T10:00:00.000Z".
std::string UtcTime(int digits);

// Tells what becomes of boards: attempts after the first, each step, each tenth, the result.
class Story {
 public:
  // Empty when the change isn't worth a line.
  std::string Tell(const BoardStatus& board, Change change);

 private:
  std::string NextTenth(const BoardStatus& board);

  std::map<const BoardStatus*, int> tenths_;  // told last
};

}  // namespace kvo::boards
