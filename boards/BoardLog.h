#pragma once

#include <memory>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

#include "boards/UniqueDescriptor.h"
#include "boards/display/Display.h"

namespace kvo::boards {

// One board's log file, to which several processes append: lines with their time (UTC, to the
// microsecond), and the sender's trace as it comes. A log that can't be written stays silent.
class BoardLog {
 public:
  // Without a path: writes nothing.
  BoardLog();
  explicit BoardLog(const std::string& path);
  BoardLog(const BoardLog&) = delete;
  BoardLog& operator=(const BoardLog&) = delete;
  ~BoardLog();

  // Whether anything can be written.
  bool IsOpen() const { return file_.Get() >= 0; }

  // A line of its own.
  void Line(std::string_view text);

  // For a std::ostream; each piece is written as it comes, and the time at each line's begin.
  std::streambuf& Trace();

 private:
  class TraceBuffer;

  explicit BoardLog(UniqueDescriptor file);

  UniqueDescriptor file_;
  std::unique_ptr<TraceBuffer> trace_;
};

// The path of each board's log in `folder`: its port's name, what a file name can't hold replaced
// by "_", and a number where two would be the same.
std::vector<std::string> LogPaths(const std::string& folder, const std::vector<std::string>& ports);

// The path of a log in `folder` for a board that is served now: the time and its port's name. No
// such file is there.
std::string LogPathOfNow(const std::string& folder, const std::string& port);

// Leaves a log that something was written to as it is. Without a path: does nothing.
void RemoveEmptyLog(const std::string& path);

// Records what becomes of the boards in their logs.
std::unique_ptr<Display> MakeLogDisplay();

}  // namespace kvo::boards
