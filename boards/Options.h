#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Options of a command line, each of which may be given once. What is wrong with a value is told in
// one line, by `WrongCommandLine`.
namespace kvo::boards {

using WrongCommandLine = std::invalid_argument;

using Texts = std::vector<std::string>;
using TakeTexts = std::function<void(const Texts&)>;

struct OptionText {
  std::string name;
  std::string value;  // as help calls it; empty for an option without
  std::string help;
};

[[noreturn]] void Refuse(const OptionText& option, const std::string& text,
                         const std::string& mistake);

// An option followed by `count` texts, whatever they begin with.
void AddOption(CLI::App& app, const OptionText& option, int count, const TakeTexts& take);

// An option without a value, that stores `value`.
void AddFlag(CLI::App& app, const OptionText& option, bool& target, bool value);

// A whole number from 1 to `most`.
void AddCount(CLI::App& app, const OptionText& option, std::uint32_t most,
              const std::function<void(std::uint32_t)>& take);

// Decimal digits alone.
std::optional<std::uint32_t> ReadWholeNumber(const std::string& text);

// Decimal digits with a point or without, rounded up to milliseconds.
std::chrono::milliseconds ReadSeconds(const OptionText& option, const std::string& text);

// One of several words.
template <typename Choice, std::size_t kChoices>
void AddChoice(CLI::App& app, const OptionText& option,
               const std::array<std::pair<std::string_view, Choice>, kChoices>& choices,
               Choice& target) {
  AddOption(app, option, 1, [option, choices, &target](const Texts& texts) {
    const auto* chosen =
        std::ranges::find(choices, texts.front(), &std::pair<std::string_view, Choice>::first);
    if (chosen == choices.end()) {
      std::string names;
      for (const auto& [name, choice] : choices) {
        names += (names.empty() ? "" : ", ") + std::string(name);
      }
      Refuse(option, texts.front(), "is not one of " + names);
    }
    target = chosen->second;
  });
}

}  // namespace kvo::boards
