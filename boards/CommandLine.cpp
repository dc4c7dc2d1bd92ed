#include "boards/CommandLine.h"

#include <kvo/bootloadertms/Baudrate.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <iostream>
#include <string_view>

#include "boards/HelpTexts.h"
#include "boards/Options.h"
#include "boards/Printable.h"

namespace kvo::boards {

namespace {

constexpr int kWrongCommandLine = 2;

// The longest that a terminal's own time-out can be.
constexpr std::uint32_t kMostAnswerMilliseconds = 25500;
constexpr std::uint32_t kMostAttempts = 1000;
constexpr std::uint32_t kMostJobs = 1000000;
constexpr std::uint32_t kMostBoards = 1000000;

bool HasImage(Action action) { return action == Action::kFlash || action == Action::kWatch; }

void TakePorts(const Texts& names, CommandLine& line) {
  for (auto name = names.begin(); name != names.end(); ++name) {
    if (std::find(names.begin(), name, *name) != name) {
      throw WrongCommandLine(*name + " is given twice");
    }
    line.ports.push_back(ParsePort(*name));
  }
}

void TakePatterns(const Texts& patterns, CommandLine& line) {
  for (const std::string& pattern : patterns) {
    if (ParsePort(pattern).is_tcp) {
      throw WrongCommandLine(pattern + ": only paths can be watched");
    }
  }
  line.patterns = patterns;
}

void AddPositionals(CLI::App& app, std::size_t arguments, CommandLine& line) {
  if (HasImage(line.action)) {
    app.add_option("IMAGE", line.image, help::kImage)->type_name("");
  }
  const bool is_watch = line.action == Action::kWatch;
  const auto take = [&line, is_watch](const Texts& names) {
    is_watch ? TakePatterns(names, line) : TakePorts(names, line);
    return true;
  };
  // Deliberate: as many as there can be. CLI11 takes an indefinite number as well, but splits those
  // in brackets: "[a,b]".
  app.add_option(is_watch ? "PATTERN" : "PORT", take, is_watch ? help::kPattern : help::kPort)
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

void AddWatchOptions(CLI::App& app, CommandLine& line) {
  app.option_defaults()->group("Which boards");
  AddFlag(app, {"--new-only", "", help::kNewOnly}, line.new_only, true);
  const auto set = [&line](std::uint32_t number) { line.count = number; };
  AddCount(app, {"--count", "N", help::kCount}, kMostBoards, set);
}

void AddLineOptions(CLI::App& app, CommandLine& line) {
  app.option_defaults()->group("Line and limits");
  const OptionText baud = {"--baud", "RATE", std::string(help::kBaudRates) + " (default)"};
  AddOption(app, baud, 1, [baud, &line](const Texts& texts) {
    const auto rate = ReadWholeNumber(texts.front());
    if (!rate || !bootloadertms::Baudrate::IsSupported(*rate)) {
      Refuse(baud, texts.front(), std::string("is not supported: must be ") + help::kBaudRates);
    }
    line.baud_rate = *rate;
  });
  AddCount(
      app, {"--answer-timeout", "MS", help::kAnswerTimeout}, kMostAnswerMilliseconds,
      [&line](std::uint32_t number) { line.answer_timeout = std::chrono::milliseconds(number); });
  const bool has_image = HasImage(line.action);
  const OptionText deadline = {"--deadline", "SECONDS",
                               has_image ? help::kFlashDeadline : help::kInfoDeadline};
  AddOption(app, deadline, 1, [deadline, &line](const Texts& texts) {
    line.deadline = ReadSeconds(deadline, texts.front());
  });
  if (has_image) {
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
  if (line.action == Action::kWatch) {
    AddFlag(app, {"--bell", "", help::kBell}, line.bell, true);
  }
  AddOption(app, {"--log-dir", "DIR", help::kLogDir}, 1, [&line](const Texts& texts) {
    if (texts.front().empty()) {
      throw WrongCommandLine("--log-dir: the folder's name is empty");
    }
    line.log_folder = texts.front();
  });
  AddFlag(app, {"--trace", "", help::kTrace}, line.trace, true);
}

void AddListOptions(CLI::App& app, CommandLine& line) {
  app.option_defaults()->group("Output");
  AddFlag(app, {"--all", "", help::kAll}, line.all, true);
  AddFlag(app, {"--json", "", help::kJson}, line.json, true);
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
  std::string_view name;
  const char* description;
  const char* usage;
  const char* footer;
};

constexpr std::array kCommands = {
    Command{Action::kFlash, "flash", help::kFlash, help::kFlashUsage, help::kFlashFooter},
    Command{Action::kWatch, "watch", help::kWatch, help::kWatchUsage, help::kWatchFooter},
    Command{Action::kInfo, "info", help::kInfo, help::kInfoUsage, help::kInfoFooter},
    Command{Action::kList, "list", help::kList, help::kListUsage, help::kListFooter},
};

void AddGeneralOptions(CLI::App& app, const std::string& usage, const char* footer) {
  app.option_defaults()->group("General");
  app.formatter(std::make_shared<Formatter>(usage));
  app.footer(footer);
  // What is left over or missing is told by this program's own texts.
  app.allow_extras();
  app.set_help_flag("--help", help::kHelp);
  app.set_version_flag("--version", "kvo-boards " KVO_BOARDS_VERSION, help::kVersion);
}

// CLI11 would take the next argument for an empty value, and make a number of one that help and
// version can't have.
void RefuseMisunderstoodValues(const Texts& arguments) {
  const auto end = std::ranges::find(arguments, "--");
  for (auto argument = arguments.begin(); argument != end; ++argument) {
    if (argument->starts_with("--") && argument->find('=') == argument->size() - 1) {
      throw WrongCommandLine(*argument + ": no value after the '='");
    }
    const std::string name = argument->substr(0, argument->find('='));
    if (name != *argument && (name == "--help" || name == "--version")) {
      throw WrongCommandLine(name + ": takes no value");
    }
  }
}

// The exit status after help and version.
std::optional<int> RunParser(CLI::App& app, const Texts& arguments) {
  RefuseMisunderstoodValues(arguments);
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

// What stands before "--", if that is there.
Texts NamesBeforeTheEndOfOptions(const Texts& arguments, const CommandLine& line) {
  Texts names = line.patterns;
  std::ranges::transform(line.ports, std::back_inserter(names), &PortAddress::name);
  if (HasImage(line.action)) {
    names.insert(names.begin(), line.image);
  }
  const auto from_the_end = arguments.end() - std::ranges::find(arguments, "--");
  const auto after_the_end =
      static_cast<std::size_t>(std::max<std::ptrdiff_t>(from_the_end, 1) - 1);
  names.resize(names.size() - std::min(names.size(), after_the_end));
  return names;
}

// CLI11 takes "---json" and "-1" for names.
void RequireAllOptionsKnown(const CLI::App& app, const Texts& arguments, const CommandLine& line) {
  Texts left = app.remaining();
  std::ranges::move(NamesBeforeTheEndOfOptions(arguments, line), std::back_inserter(left));
  const auto unknown = std::ranges::find_if(left, [](const std::string& text) {
    return text.size() > 1 && text.front() == '-' && text != "--";
  });
  if (unknown != left.end()) {
    throw WrongCommandLine(*unknown + ": no such option; see " + app.get_name() + " --help");
  }
}

void RequireNothingLeft(const CLI::App& app) {
  Texts left = app.remaining();
  if (const auto end_of_options = std::ranges::find(left, "--"); end_of_options != left.end()) {
    left.erase(end_of_options);
  }
  if (!left.empty()) {
    throw WrongCommandLine(left.front() + ": unexpected argument; see " + app.get_name() +
                           " --help");
  }
}

void RequireAllThatIsNeeded(const Command& command, const CommandLine& line, bool has_image) {
  const std::string usage = std::string("; usage: ") + command.usage;
  if (HasImage(command.action) && !has_image) {
    throw WrongCommandLine("IMAGE is missing" + usage);
  }
  if (command.action == Action::kWatch && line.patterns.empty()) {
    throw WrongCommandLine("PATTERN is missing" + usage);
  }
  if (command.action != Action::kWatch && line.ports.empty()) {
    throw WrongCommandLine("PORT is missing" + usage);
  }
  if (line.trace && line.log_folder.empty()) {
    throw WrongCommandLine("--trace: requires --log-dir DIR");
  }
}

void AddOptionsOfBoards(CLI::App& app, std::size_t arguments, CommandLine& line) {
  AddPositionals(app, arguments, line);
  if (HasImage(line.action)) {
    AddFlashOptions(app, line);
  }
  if (line.action == Action::kWatch) {
    AddWatchOptions(app, line);
  }
  AddLineOptions(app, line);
  AddReportOptions(app, line);
}

std::optional<int> ParseCommand(const Command& command, const Texts& arguments, CommandLine& line) {
  line.action = command.action;
  const bool is_list = command.action == Action::kList;
  CLI::App app(command.description, "kvo-boards " + std::string(command.name));
  if (is_list) {
    AddListOptions(app, line);
  } else {
    AddOptionsOfBoards(app, arguments.size(), line);
  }
  AddGeneralOptions(app, command.usage, command.footer);
  if (const std::optional<int> status = RunParser(app, arguments)) {
    return status;
  }
  RequireAllOptionsKnown(app, arguments, line);
  if (is_list) {
    RequireNothingLeft(app);
  } else {
    RequireAllThatIsNeeded(command, line, HasImage(line.action) && app.count("IMAGE") > 0);
  }
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
  const std::string names = "flash, watch, info or list";
  if (left.empty()) {
    throw WrongCommandLine("a command is missing: " + names + "; see kvo-boards --help");
  }
  const std::string mistake = left.front().starts_with('-') ? ": options come after the command, "
                                                            : ": no such command, must be ";
  throw WrongCommandLine(left.front() + mistake + names + "; see kvo-boards --help");
}

std::optional<int> Parse(const Texts& arguments, CommandLine& line) {
  const std::string name = arguments.empty() ? "" : arguments.front();
  const auto* const command = std::ranges::find(kCommands, name, &Command::name);
  if (command == kCommands.end()) {
    return ParseWithoutCommand(arguments);
  }
  return ParseCommand(*command, Texts(arguments.begin() + 1, arguments.end()), line);
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
