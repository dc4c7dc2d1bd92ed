#include "front_end/Arguments.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace kvo::bootloadertms {

namespace {

std::uint32_t ParseHexadecimal(const std::string& text, const std::string& if_empty,
                               const std::string& if_invalid) {
  if (text.empty()) {
    throw std::runtime_error(if_empty);
  }
  unsigned int value = 0;
  if (std::sscanf(text.c_str(), "%x", &value) != 1) {
    throw std::runtime_error(if_invalid + text);
  }
  return value;
}

}  // namespace

ArgumentList::ArgumentList(int argc, const char* const* argv) : arguments_(argv + 1, argv + argc) {}

bool ArgumentList::HasOption(const std::string& option) const {
  return std::ranges::find(arguments_, option) != arguments_.end();
}

const std::string& ArgumentList::GetOption(const std::string& option) const {
  static const std::string kNothing;
  const auto found = std::ranges::find(arguments_, option);
  if (found == arguments_.end() || found + 1 == arguments_.end()) {
    return kNothing;
  }
  return *(found + 1);
}

const std::string& ArgumentList::At(std::size_t index) const { return arguments_.at(index); }

std::uint32_t ParseBaudRate(const ArgumentList& arguments) {
  const std::string& text = arguments.At(option::kBaudRate);
  return static_cast<std::uint32_t>(std::strtol(text.c_str(), nullptr, 10));
}

std::uint32_t ParseCommandCode(const ArgumentList& arguments) {
  return ParseHexadecimal(arguments.GetOption(option::kCommand), "No command specified. Exiting",
                          "Invalid command : ");
}

std::uint8_t ParseByteToSend(const ArgumentList& arguments) {
  const std::uint32_t value =
      ParseHexadecimal(arguments.GetOption(option::kSend), "No command specified to send. Exiting",
                       "Invalid command to send : ");
  return static_cast<std::uint8_t>(value);
}

}  // namespace kvo::bootloadertms
