#include "boards/Options.h"

#include <charconv>

namespace kvo::boards {

namespace {

// Any longer wait is as good as none, and none of the clocks overflows.
constexpr std::uint32_t kMostSeconds = 1000000;

// Decimal digits alone.
template <typename Number>
std::optional<Number> ReadNumber(const std::string& text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const bool only_digits = text.find_first_not_of("0123456789.") == std::string::npos;
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (!only_digits || error != std::errc{} || stop != end) {
    return std::nullopt;
  }
  return number;
}

}  // namespace

void Refuse(const OptionText& option, const std::string& text, const std::string& mistake) {
  throw WrongCommandLine(option.name + ": " + (text.empty() ? "an empty text" : text) + " " +
                         mistake);
}

void AddOption(CLI::App& app, const OptionText& option, int count, const TakeTexts& take) {
  const auto take_once = [name = option.name, count, take](const Texts& texts) {
    if (texts.size() != static_cast<std::size_t>(count)) {
      throw WrongCommandLine(name + ": given more than once");
    }
    if (std::ranges::find(texts, "--") != texts.end()) {
      throw WrongCommandLine(name + ": can't be followed by --, which ends the options");
    }
    take(texts);
    return true;
  };
  app.add_option(option.name, take_once, option.help)
      ->type_name(option.value)
      ->type_size(count)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void AddFlag(CLI::App& app, const OptionText& option, bool& target, bool value) {
  const auto set = [name = option.name, &target, value](const Texts& texts) {
    if (texts.size() != 1) {
      throw WrongCommandLine(name + ": given more than once");
    }
    if (texts.front() != "true") {
      throw WrongCommandLine(name + ": takes no value");
    }
    target = value;
    return true;
  };
  app.add_option(option.name, set, option.help)
      ->expected(0)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

std::optional<std::uint32_t> ReadWholeNumber(const std::string& text) {
  return ReadNumber<std::uint32_t>(text);
}

void AddCount(CLI::App& app, const OptionText& option, std::uint32_t most,
              const std::function<void(std::uint32_t)>& take) {
  AddOption(app, option, 1, [option, most, take](const Texts& texts) {
    const auto number = ReadWholeNumber(texts.front());
    if (!number || *number < 1 || *number > most) {
      Refuse(option, texts.front(), "is not a whole number from 1 to " + std::to_string(most));
    }
    take(*number);
  });
}

std::chrono::milliseconds ReadSeconds(const OptionText& option, const std::string& text) {
  const auto seconds = ReadNumber<double>(text);
  if (!seconds || *seconds > kMostSeconds) {
    Refuse(option, text,
           "is not a number of seconds from 0 to " + std::to_string(kMostSeconds) +
               ", such as 90 or 0.5");
  }
  // Rounded up, as 0 means something else.
  return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(*seconds));
}

}  // namespace kvo::boards
