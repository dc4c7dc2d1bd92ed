#include "log/LogMess.h"

#include <iostream>

namespace kvo::bootloadertms {

namespace {

// Initialised before any code runs, so that static initialisers elsewhere may copy it.
constinit LogMess process_wide_log;

}  // namespace

LogMess& LogMess::GetInstance() { return process_wide_log; }

void LogMess::Log(const std::string& text) const {
  if (verbose_) {
    std::cout << text << std::endl;
  }
}

void LogMess::LogInline(const std::string& text) const {
  if (verbose_) {
    std::cout << text << std::flush;
  }
}

bool LogMess::IsVerbose() const { return verbose_; }

void LogMess::SetVerbose(bool verbose) { verbose_ = verbose; }

}  // namespace kvo::bootloadertms
