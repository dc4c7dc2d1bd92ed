#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "client/IBootLoader.h"

namespace kvo::bootloadertms::testing {

// What the README and the usage text say that the program does with its arguments, apart from the
// code that does it.
class FrontEndModel {
 public:
  // The program's arguments after its name, at least four.
  FrontEndModel(std::vector<std::string> arguments, bool process_wide_log_is_verbose)
      : arguments_(std::move(arguments)), log_is_verbose_(process_wide_log_is_verbose) {}

  // Throws what leaves the mode.
  void RunMode(IBootLoader& client);

  bool Has(const std::string& option) const;
  std::string ValueOf(const std::string& option) const;

  // What stands on standard output.
  const std::string& Printed() const { return printed_; }

 private:
  void RunCommand(IBootLoader& client);
  void Send(IBootLoader& client);
  void ReadApplicationInformation(IBootLoader& client);
  void Upload(IBootLoader& client);
  void Log(const std::string& text);
  void LogProcessWide(const std::string& text);

  std::vector<std::string> arguments_;
  bool log_is_verbose_;
  std::string printed_;
};

// The number that a text begins with, of which the low 32 bits count; blanks and a sign may stand
// before it. A decimal number is held between the limits of 64 bits first.
std::uint32_t DecimalNumber(const std::string& text);

// Throws `std::runtime_error`.
std::uint32_t HexadecimalNumber(const std::string& text, const std::string& if_empty,
                                const std::string& if_invalid);

}  // namespace kvo::bootloadertms::testing
