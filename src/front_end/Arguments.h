#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kvo::bootloadertms {

// What stands where on the command line, and the switches' exact texts.
namespace option {

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

}  // namespace option

// The program's arguments, without its own name, in their order. Texts are compared whole and byte
// for byte; every element is looked at, positional ones included.
class ArgumentList {
 public:
  // As `main` gets them; `argc` must be at least 1.
  ArgumentList(int argc, const char* const* argv);

  bool HasOption(const std::string& option) const;

  // The element after the first one that equals `option`; an empty text when there is none.
  const std::string& GetOption(const std::string& option) const;

  // The argument at `index`, from 0. Throws `std::out_of_range` when there are fewer.
  const std::string& At(std::size_t index) const;

 private:
  std::vector<std::string> arguments_;
};

// The baud rate: the number that the argument begins with, in base 10, after blanks and a sign, cut
// to 32 bits; 0 when there is none. Whether the rate is supported is the port's business.
std::uint32_t ParseBaudRate(const ArgumentList& arguments);

// The code after "--command". Always hexadecimal, with or without "0x"; what follows the digits is
// ignored. Throws `std::runtime_error` "No command specified. Exiting" for an empty or missing
// text, "Invalid command : " and the text when it doesn't begin with a number.
std::uint32_t ParseCommandCode(const ArgumentList& arguments);

// The byte after "--send": the low 8 bits of a number read in the same way. Throws
// `std::runtime_error` "No command specified to send. Exiting", "Invalid command to send : " and
// the text.
std::uint8_t ParseByteToSend(const ArgumentList& arguments);

}  // namespace kvo::bootloadertms
