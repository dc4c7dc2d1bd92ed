#include "fuzz/CommandLineModel.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>

namespace kvo::bootloadertms::testing {

namespace {

using namespace kvo::boards;
using Texts = std::vector<std::string>;

struct Refused {};

void RequireThat(bool is_right) {
  if (!is_right) {
    throw Refused();
  }
}

bool IsDigits(const std::string& text) {
  return !text.empty() &&
         std::ranges::all_of(text, [](unsigned char c) { return std::isdigit(c); });
}

std::uint32_t NumberUpTo(std::uint64_t most, const std::string& text) {
  RequireThat(IsDigits(text));
  const std::string digits = text.substr(std::min(text.find_first_not_of('0'), text.size()));
  RequireThat(!digits.empty() && digits.size() < 10 && std::stoull(digits) <= most);
  return static_cast<std::uint32_t>(std::stoul(digits));
}

std::chrono::milliseconds SecondsIn(const std::string& text) {
  const std::size_t point = std::min(text.find('.'), text.size());
  std::string digits = text;
  digits.erase(point, 1);
  RequireThat(IsDigits(digits));
  errno = 0;
  const double seconds = std::strtod(text.c_str(), nullptr);
  const bool is_lost = errno != 0 && seconds == 0;  // less than a double can tell from 0
  RequireThat(!is_lost && seconds <= 1'000'000);
  return std::chrono::milliseconds(static_cast<std::int64_t>(std::ceil(seconds * 1000)));
}

template <typename Choice>
Choice OneOf(const std::map<std::string, Choice>& choices, const std::string& text) {
  RequireThat(choices.contains(text));
  return choices.at(text);
}

// HOST:NUMBER or [ADDRESS]:NUMBER
void ReadTcp(const std::string& text, PortAddress& port) {
  const std::size_t colon = text.rfind(':');
  RequireThat(colon != std::string::npos);
  port.is_tcp = true;
  port.host = text.substr(0, colon);
  port.number = static_cast<std::uint16_t>(NumberUpTo(65535, text.substr(colon + 1)));
  if (port.host.starts_with('[')) {
    RequireThat(port.host.ends_with(']'));
    port.host = port.host.substr(1, port.host.size() - 2);
    in6_addr address{};
    const std::string without_scope = port.host.substr(0, port.host.find('%'));
    RequireThat(::inet_pton(AF_INET6, without_scope.c_str(), &address) == 1);
    return;
  }
  RequireThat(!port.host.empty() && std::ranges::none_of(port.host, [](unsigned char c) {
    return c <= ' ' || c == 0x7f || c == ':';
  }));
}

PortAddress PortOf(const std::string& name) {
  RequireThat(!name.empty());
  PortAddress port;
  port.name = name;
  if (name.starts_with("tcp:")) {
    ReadTcp(name.substr(4), port);
  }
  return port;
}

struct Option {
  std::size_t values;
  std::string commands;  // by their first letters
};

const std::map<std::string, Option>& Options() {
  static const std::map<std::string, Option> kOptions = {
      {"--record", {3, "fw"}},    {"--no-switch", {0, "fw"}}, {"--no-start", {0, "fw"}},
      {"--dry-run", {0, "fw"}},   {"--raw", {0, "fw"}},       {"--new-only", {0, "w"}},
      {"--count", {1, "w"}},      {"--baud", {1, "fwi"}},     {"--answer-timeout", {1, "fwi"}},
      {"--deadline", {1, "fwi"}}, {"--attempts", {1, "fw"}},  {"--jobs", {1, "fwi"}},
      {"--progress", {1, "fwi"}}, {"--color", {1, "fwi"}},    {"--json", {0, "fwil"}},
      {"--quiet", {0, "fwi"}},    {"--bell", {0, "w"}},       {"--log-dir", {1, "fwi"}},
      {"--trace", {0, "fwi"}},    {"--all", {0, "l"}},        {"--help", {0, "fwil"}},
      {"--version", {0, "fwil"}},
  };
  return kOptions;
}

// The options with their values, and what else there is.
struct Parts {
  std::map<std::string, Texts> options;
  Texts others;
};

void TakeOption(char command, const Texts& arguments, std::size_t& next, Parts& parts) {
  const std::string& argument = arguments.at(next++);
  const std::size_t equals = argument.find('=');
  const std::string name = argument.substr(0, equals);
  RequireThat(Options().contains(name));
  const Option& option = Options().at(name);
  RequireThat(option.commands.find(command) != std::string::npos);
  Texts values;
  if (equals != std::string::npos) {
    // Whoever gives a flag the value that it has is understood.
    RequireThat(option.values > 0 || argument.substr(equals + 1) == "true");
    values = {argument.substr(equals + 1)};
  }
  while (values.size() < option.values) {
    RequireThat(next < arguments.size());
    values.push_back(arguments[next++]);
  }
  RequireThat(std::ranges::find(values, "--") == values.end());
  RequireThat(parts.options.emplace(name, values).second);
}

Parts PartsOf(char command, const Texts& arguments) {
  Parts parts;
  bool are_options_over = false;
  for (std::size_t next = 1; next < arguments.size();) {
    const std::string& argument = arguments[next];
    if (are_options_over || argument.size() < 2 || argument[0] != '-') {
      parts.others.push_back(argument);
      ++next;
    } else if (argument == "--") {
      are_options_over = true;
      ++next;
    } else {
      TakeOption(command, arguments, next, parts);
    }
  }
  return parts;
}

void TakeOthers(Texts others, CommandLine& line) {
  if (line.action == Action::kFlash || line.action == Action::kWatch) {
    RequireThat(!others.empty());
    line.image = others.front();
    others.erase(others.begin());
  }
  if (line.action == Action::kList) {
    RequireThat(others.empty());
    return;
  }
  RequireThat(!others.empty());
  RequireThat(line.action == Action::kWatch ||
              std::set<std::string>(others.begin(), others.end()).size() == others.size());
  for (const std::string& other : others) {
    const PortAddress port = PortOf(other);
    if (line.action == Action::kWatch) {
      RequireThat(!port.is_tcp);
      line.patterns.push_back(other);
    } else {
      line.ports.push_back(port);
    }
  }
}

void TakeValues(const std::map<std::string, Texts>& options, CommandLine& line) {
  const auto if_given = [&options](const char* name, const auto& take) {
    if (const auto option = options.find(name); option != options.end()) {
      take(option->second.empty() ? "" : option->second[0]);
    }
  };
  if_given("--baud", [&](const std::string& text) {
    line.baud_rate = NumberUpTo(1'000'000, text);
    RequireThat(std::set<std::uint32_t>{9600, 19200, 38400, 57600, 115200, 1000000}.contains(
        line.baud_rate));
  });
  if_given("--answer-timeout", [&](const std::string& text) {
    line.answer_timeout = std::chrono::milliseconds(NumberUpTo(25500, text));
  });
  if_given("--deadline", [&](const std::string& text) { line.deadline = SecondsIn(text); });
  if_given("--attempts", [&](const std::string& text) {
    line.attempts = static_cast<int>(NumberUpTo(1000, text));
  });
  if_given("--jobs", [&](const std::string& text) { line.jobs = NumberUpTo(1000000, text); });
  if_given("--count", [&](const std::string& text) { line.count = NumberUpTo(1000000, text); });
  if_given("--progress", [&](const std::string& text) {
    line.progress = OneOf<Progress>({{"auto", Progress::kAuto},
                                     {"bars", Progress::kBars},
                                     {"lines", Progress::kLines},
                                     {"none", Progress::kNone}},
                                    text);
  });
  if_given("--color", [&](const std::string& text) {
    line.color = OneOf<Color>(
        {{"auto", Color::kAuto}, {"always", Color::kAlways}, {"never", Color::kNever}}, text);
  });
  if_given("--log-dir", [&](const std::string& text) {
    RequireThat(!text.empty());
    line.log_folder = text;
  });
}

void TakeFlags(const std::map<std::string, Texts>& options, CommandLine& line) {
  line.switch_to_bootloader = !options.contains("--no-switch");
  line.start_application = !options.contains("--no-start");
  line.dry_run = options.contains("--dry-run");
  line.raw = options.contains("--raw");
  line.new_only = options.contains("--new-only");
  line.json = options.contains("--json");
  line.quiet = options.contains("--quiet");
  line.bell = options.contains("--bell");
  line.all = options.contains("--all");
  line.trace = options.contains("--trace");
  RequireThat(!line.trace || !line.log_folder.empty());
  if (options.contains("--record")) {
    line.record = options.at("--record");
  }
}

// An empty value after "=" is a mistake, wherever it stands.
bool HasEmptyValue(const Texts& arguments) {
  return std::any_of(
      arguments.begin(), std::ranges::find(arguments, "--"), [](const std::string& argument) {
        return argument.starts_with("--") && argument.find('=') == argument.size() - 1;
      });
}

CommandLine LineOf(const Texts& arguments) {
  const std::map<std::string, Action> commands = {{"flash", Action::kFlash},
                                                  {"watch", Action::kWatch},
                                                  {"info", Action::kInfo},
                                                  {"list", Action::kList}};
  RequireThat(!arguments.empty() && !HasEmptyValue(arguments));
  CommandLine line;
  line.action = OneOf(commands, arguments[0]);
  const Parts parts = PartsOf(arguments[0][0], arguments);
  TakeValues(parts.options, line);
  TakeFlags(parts.options, line);
  TakeOthers(parts.others, line);
  return line;
}

}  // namespace

ModelledLine ReadCommandLine(const std::vector<std::string>& arguments) {
  // Which of help and a mistake comes first isn't told.
  if (std::ranges::any_of(arguments, [](const std::string& argument) {
        return argument.starts_with("--help") || argument.starts_with("--version");
      })) {
    return {ModelledLine::Verdict::kMayTellHelp, {}};
  }
  try {
    return {ModelledLine::Verdict::kAccepted, LineOf(arguments)};
  } catch (const Refused&) {
    return {ModelledLine::Verdict::kRefused, {}};
  }
}

}  // namespace kvo::bootloadertms::testing
