#pragma once

#include <string>

namespace kvo::bootloadertms {

// The progress log: writes text to standard output while its verbose flag is set, and drops it
// otherwise. Texts that must always be seen don't go through it.
//
// There are two of them: the process-wide one, through which the client and the uploads write, and
// the front end's own copy.
// Deliberate: the verbose flag of one says nothing about the other.
//
// An object holds nothing but its flag, so it is copied freely. There is no locking. A failing
// standard output is not noticed.
class LogMess {
 public:
  // A log that is not verbose.
  constexpr LogMess() = default;

  // The process-wide log: always the same object, usable from the first static initialiser on.
  static LogMess& GetInstance();

  // Verbose: writes `text` and a newline, and flushes.
  void Log(const std::string& text) const;

  // Verbose: writes `text` as it is, and flushes; a later call completes the line.
  void LogInline(const std::string& text) const;

  bool IsVerbose() const;
  void SetVerbose(bool verbose);

 private:
  bool verbose_ = false;
};

}  // namespace kvo::bootloadertms
