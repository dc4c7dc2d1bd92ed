#include "boards/CommandLine.h"

#include <kvo/bootloadertms/Baudrate.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string_view>

#include "boards/HelpTexts.h"
#include "boards/Printable.h"

namespace kvo::boards {

namespace {

constexpr int kWrongCommandLine = 2;

// Any longer wait is as good as none, and none of the clocks overflows.
constexpr std::uint32_t kMostSeconds = 1000000;
// The longest that a terminal's own time-out can be.
constexpr std::uint32_t kMostAnswerMilliseconds = 25500;
constexpr std::uint32_t kMostAttempts = 1000;
constexpr std::uint32_t kMostJobs = 1000000;

// What is wrong with a command line, in one line.
using WrongCommandLine = std::invalid_argument;

using Texts = std::vector<std::string>;
using TakeTexts = std::function<void(const Texts&)>;

struct OptionText {
  std::string name;
  std::string value;  // as help calls it; empty for an option without
  std::string help;
};

[[noreturn]] void Refuse(const OptionText& option, const std::string& text,
                         const std::string& mistake) {
  throw WrongCommandLine(option.name + ": " + (text.empty() ? "an empty text" : text) + " " +
                         mistake);
}

// An option followed by `count` texts, whatever they begin with.
void AddOption(CLI::App& app, const OptionText& option, int count, const TakeTexts& take) {
  const auto take_once = [name = option.name, count, take](const Texts& texts) {
    if (texts.size() != static_cast<std::size_t>(count)) {
      throw WrongCommandLine(name + ": given more than once");
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

void AddCount(CLI::App& app, const OptionText& option, std::uint32_t most,
              const std::function<void(std::uint32_t)>& take) {
  AddOption(app, option, 1, [option, most, take](const Texts& texts) {
    const auto number = ReadNumber<std::uint32_t>(texts.front());
    if (!number || *number < 1 || *number > most) {
      Refuse(option, texts.front(), "is not a whole number from 1 to " + std::to_string(most));
    }
    take(*number);
  });
}

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

std::chrono::milliseconds ReadSeconds(const OptionText& option, const std::string& text) {
  const auto seconds = ReadNumber<double>(text);
  if (!seconds || *seconds > kMostSeconds) {
    Refuse(
        option, text,
        "is not a number of seconds from 0 to " + std::to_string(kMostSeconds) + ", as 90 or 0.5");
  }
  // Rounded up, as 0 means something else.
  return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(*seconds));
}

void AddPositionals(CLI::App& app, std::size_t arguments, CommandLine& line) {
  if (line.action == Action::kFlash) {
    app.add_option("IMAGE", line.image, help::kImage)->type_name("");
  }
  const auto take = [&line](const Texts& names) {
    for (auto name = names.begin(); name != names.end(); ++name) {
      if (std::find(names.begin(), name, *name) != name) {
        throw WrongCommandLine(*name + " is given twice");
      }
      line.ports.push_back(ParsePort(*name));
    }
    return true;
  };
  // Deliberate: as many as there can be. CLI11 takes an indefinite number as well, but splits those
  // in brackets: "[a,b]".
  app.add_option("PORT", take, help::kPort)
      ->expected(static_cast<int>(arguments) + 1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->option_text("...");
}

void AddFlashOptions(CLI::App& app, CommandLine& line) {
  app.option_defaults()->group("Upload");
  AddOption(app, {"--record", "F1 F2 F3", help::kRecord}, 3,
            [&line](const Texts& texts) { line.record = texts; });
  AddFlag(app, {"--no-switch", "", help::kNoSwitch}, line.switch_to_bootloader, false);
  AddFlag(app, {"--no-start", "", help::kNoStart}, line.start_application, false);
  AddFlag(app, {"--dry-run", "", help::kDryRun}, line.dry_run, true);
  AddFlag(app, {"--raw", "", help::kRaw}, line.raw, true);
}

void AddLineOptions(CLI::App& app, CommandLine& line) {
  app.option_defaults()->group("Line and limits");
  const OptionText baud = {"--baud", "RATE", std::string(help::kBaudRates) + " (default)"};
  AddOption(app, baud, 1, [baud, &line](const Texts& texts) {
    const auto rate = ReadNumber<std::uint32_t>(texts.front());
    if (!rate || !bootloadertms::Baudrate::IsSupported(*rate)) {
      Refuse(baud, texts.front(), std::string("is not supported: must be ") + help::kBaudRates);
    }
    line.baud_rate = *rate;
  });
  AddCount(
      app, {"--answer-timeout", "MS", help::kAnswerTimeout}, kMostAnswerMilliseconds,
      [&line](std::uint32_t number) { line.answer_timeout = std::chrono::milliseconds(number); });
  const bool is_flash = line.action == Action::kFlash;
  const OptionText deadline = {"--deadline", "SECONDS",
                               is_flash ? help::kFlashDeadline : help::kInfoDeadline};
  AddOption(app, deadline, 1, [deadline, &line](const Texts& texts) {
    line.deadline = ReadSeconds(deadline, texts.front());
  });
  if (is_flash) {
    AddCount(app, {"--attempts", "N", help::kAttempts}, kMostAttempts,
             [&line](std::uint32_t number) { line.attempts = static_cast<int>(number); });
  }
  AddCount(app, {"--jobs", "N", help::kJobs}, kMostJobs,
           [&line](std::uint32_t number) { line.jobs = number; });
}

void AddReportOptions(CLI::App& app, CommandLine& line) {
  using std::to_array;
  app.option_defaults()->group("Output");
  AddChoice(app, {"--progress", "HOW", help::kProgress},
            to_array<std::pair<std::string_view, Progress>>({{"auto", Progress::kAuto},
                                                             {"bars", Progress::kBars},
                                                             {"lines", Progress::kLines},
                                                             {"none", Progress::kNone}}),
            line.progress);
  AddChoice(app, {"--color", "WHEN", help::kColor},
            to_array<std::pair<std::string_view, Color>>(
                {{"auto", Color::kAuto}, {"always", Color::kAlways}, {"never", Color::kNever}}),
            line.color);
  AddFlag(app, {"--json", "", help::kJson}, line.json, true);
  AddFlag(app, {"--quiet", "", help::kQuiet}, line.quiet, true);
  AddOption(app, {"--log-dir", "DIR", help::kLogDir}, 1, [&line](const Texts& texts) {
    if (texts.front().empty()) {
      throw WrongCommandLine("--log-dir: the folder's name is empty");
    }
    line.log_folder = texts.front();
  });
  AddFlag(app, {"--trace", "", help::kTrace}, line.trace, true);
}

// Help as CLI11 makes it, with the usage as it is written down.
class Formatter : public CLI::Formatter {
 public:
  explicit Formatter(std::string usage) : usage_(std::move(usage)) {
    column_width(help::kTextColumn);
    label("Positionals", "Arguments");
  }

 private:
  std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override {
    return "\nUsage: " + usage_ + "\n\n";
  }

  // One empty line between two groups, where CLI11 has two.
  std::string make_group(std::string group, bool is_positional,
                         std::vector<const CLI::Option*> options) const override {
    const std::string made = CLI::Formatter::make_group(group, is_positional, options).substr(1);
    return is_positional ? made + "\n" : made;
  }

  std::string usage_;
};

struct Command {
  Action action;
  std::string name;
  const char* description;
  std::string usage;
  const char* footer;
};

Command FlashCommand() {
  return {Action::kFlash, "kvo-boards flash", help::kFlash, help::kFlashUsage, help::kFlashFooter};
}

Command InfoCommand() {
  return {Action::kInfo, "kvo-boards info", help::kInfo, help::kInfoUsage, help::kInfoFooter};
}

void AddGeneralOptions(CLI::App& app, const std::string& usage, const char* footer) {
  app.option_defaults()->group("General");
  app.formatter(std::make_shared<Formatter>(usage));
  app.footer(footer);
  // What is left over or missing is told by this program's own texts.
  app.allow_extras();
  app.set_help_flag("--help", help::kHelp);
  app.set_version_flag("--version", "kvo-boards " KVO_BOARDS_VERSION, help::kVersion);
}

// CLI11 would take the next argument for such a value.
void RefuseEmptyValues(const Texts& arguments) {
  const auto end = std::ranges::find(arguments, "--");
  for (auto argument = arguments.begin(); argument != end; ++argument) {
    if (argument->starts_with("--") && argument->find('=') == argument->size() - 1) {
      throw WrongCommandLine(*argument + ": no value after the '='");
    }
  }
}

// The exit status after help and version.
std::optional<int> RunParser(CLI::App& app, const Texts& arguments) {
  RefuseEmptyValues(arguments);
  try {
    app.parse(Texts(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::Success& asked_for) {
    return app.exit(asked_for, std::cout, std::cerr);
  } catch (const CLI::ArgumentMismatch& mistake) {
    const std::string text = mistake.what();
    const std::string option = text.substr(0, text.find(':'));
    throw WrongCommandLine(option + ": must be followed by " +
                           app.get_option(option)->get_type_name());
  }
  return std::nullopt;
}

// CLI11 takes "---json" and "-1" for names.
void RequireAllOptionsKnown(const CLI::App& app, const Texts& arguments, const CommandLine& line) {
  Texts left = app.remaining();
  if (std::ranges::find(arguments, "--") == arguments.end()) {
    left.push_back(line.image);
    std::ranges::transform(line.ports, std::back_inserter(left), &PortAddress::name);
  }
  const auto unknown = std::ranges::find_if(left, [](const std::string& text) {
    return text.size() > 1 && text.front() == '-' && text != "--";
  });
  if (unknown != left.end()) {
    throw WrongCommandLine(*unknown + ": no such option; see " + app.get_name() + " --help");
  }
}

void RequireAllThatIsNeeded(const Command& command, const CommandLine& line, bool has_image) {
  if (command.action == Action::kFlash && !has_image) {
    throw WrongCommandLine("IMAGE is missing; usage: " + command.usage);
  }
  if (line.ports.empty()) {
    throw WrongCommandLine("PORT is missing; usage: " + command.usage);
  }
  if (line.trace && line.log_folder.empty()) {
    throw WrongCommandLine("--trace: needs --log-dir DIR, where the bytes are recorded");
  }
}

std::optional<int> ParseCommand(const Command& command, const Texts& arguments, CommandLine& line) {
  line.action = command.action;
  const bool is_flash = command.action == Action::kFlash;
  CLI::App app(command.description, command.name);
  AddPositionals(app, arguments.size(), line);
  if (is_flash) {
    AddFlashOptions(app, line);
  }
  AddLineOptions(app, line);
  AddReportOptions(app, line);
  AddGeneralOptions(app, command.usage, command.footer);
  if (const std::optional<int> status = RunParser(app, arguments)) {
    return status;
  }
  RequireAllOptionsKnown(app, arguments, line);
  RequireAllThatIsNeeded(command, line, is_flash && app.count("IMAGE") > 0);
  return std::nullopt;
}

// There is no command in `arguments`: help, version or a mistake.
int ParseWithoutCommand(const Texts& arguments) {
  CLI::App app(help::kProgram, "kvo-boards");
  AddGeneralOptions(app, help::kUsage, help::kFooter);
  app.prefix_command();
  if (const std::optional<int> status = RunParser(app, arguments)) {
    return *status;
  }
  const Texts left = app.remaining();
  if (left.empty()) {
    throw WrongCommandLine("a command is missing: flash or info; see kvo-boards --help");
  }
  const char* const mistake = left.front().starts_with('-')
                                  ? ": options come after the command, flash or info"
                                  : ": no such command, must be flash or info";
  throw WrongCommandLine(left.front() + mistake + "; see kvo-boards --help");
}

std::optional<int> Parse(const Texts& arguments, CommandLine& line) {
  const std::string name = arguments.empty() ? "" : arguments.front();
  if (name != "flash" && name != "info") {
    return ParseWithoutCommand(arguments);
  }
  return ParseCommand(name == "flash" ? FlashCommand() : InfoCommand(),
                      Texts(arguments.begin() + 1, arguments.end()), line);
}

}  // namespace

std::optional<int> ParseCommandLine(int argc, const char* const* argv, CommandLine& command_line) {
  try {
    return Parse(Texts(argv + std::min(argc, 1), argv + argc), command_line);
  } catch (const WrongCommandLine& mistake) {
    std::cerr << "kvo-boards: " + Printable(mistake.what()) + "\n";
    return kWrongCommandLine;
  }
}

}  // namespace kvo::boards
