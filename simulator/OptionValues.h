#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <string>

// The kinds of options that the program has. Each passes its value to `take`; what that throws as
// std::invalid_argument becomes a complaint that names the option.
namespace kvo::boardsimulator {

struct OptionText {
  std::string name;   // such as "--board"
  std::string value;  // what stands for the value in the help, such as "KEY"
  std::string help;
};

using TakeText = std::function<void(const std::string& text)>;
using TakeNumber = std::function<void(std::uint32_t number)>;

// An option whose value is whatever `take` takes.
CLI::Option* AddOption(CLI::App& app, const OptionText& option, const TakeText& take);

// The same for an option that may be given again.
void AddRepeatable(CLI::App& app, const OptionText& option, const TakeText& take);

// A number within bounds.
void AddNumber(CLI::App& app, const OptionText& option, std::uint32_t smallest,
               std::uint32_t largest, const TakeNumber& take);

}  // namespace kvo::boardsimulator
