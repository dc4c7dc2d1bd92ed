// The command line of kvo-boards, and the plan that is made of it.
//
// Input: the arguments after the program's name, each ended by a NUL byte.
#include <algorithm>
#include <array>
#include <iostream>
#include <string>
#include <tuple>
#include <vector>

#include "boards/CommandLine.h"
#include "boards/Plan.h"
#include "fuzz/CommandLineModel.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Harmless.h"
#include "support/Files.h"
#include "support/Output.h"

namespace {

using namespace kvo::boards;
using namespace kvo::bootloadertms::testing;
using Texts = std::vector<std::string>;

Texts TakeArguments(FuzzInput& input) {
  Texts arguments = {""};
  for (const char character : input.TakeRest()) {
    if (character == '\0') {
      arguments.emplace_back();
    } else {
      arguments.back() += character;
    }
  }
  arguments.pop_back();
  return arguments;
}

struct Parsed {
  std::optional<int> status;
  std::string output;
  std::string error;
  CommandLine line;
};

Parsed Parse(const Texts& arguments) {
  std::vector<const char*> argv = {"kvo-boards"};
  std::ranges::transform(arguments, std::back_inserter(argv), &std::string::c_str);
  const CapturedStream output(std::cout);
  const CapturedStream error(std::cerr);
  Parsed parsed;
  parsed.status = ParseCommandLine(static_cast<int>(argv.size()), argv.data(), parsed.line);
  parsed.output = output.Text();
  parsed.error = error.Text();
  return parsed;
}

void RequireOneLine(const std::string& text) {
  RequireHarmless(text);
  Require(text.find_first_of("\r\n") == text.size() - 1, "it is one line");
}

void CheckTexts(const Parsed& parsed) {
  if (!parsed.status) {
    Require(parsed.output.empty() && parsed.error.empty(), "nothing is told before the work");
  } else if (*parsed.status == 0) {
    Require(!parsed.output.empty() && parsed.error.empty(), "help is on standard output");
  } else {
    Require(*parsed.status == 2 && parsed.output.empty(), "a mistake is on standard error");
    Require(parsed.error.starts_with("kvo-boards: "), "the program tells its name");
    RequireOneLine(parsed.error);
  }
}

auto PortsOf(const CommandLine& line) {
  std::vector<std::tuple<std::string, bool, std::string, std::uint16_t>> ports;
  for (const PortAddress& port : line.ports) {
    ports.emplace_back(port.name, port.is_tcp, port.host, port.number);
  }
  return ports;
}

auto AllOf(const CommandLine& line) {
  return std::tuple(line.action, line.image, PortsOf(line), line.patterns, line.baud_rate,
                    line.record, line.deadline, line.answer_timeout, line.jobs, line.count,
                    line.attempts, line.switch_to_bootloader, line.start_application, line.dry_run,
                    line.raw, line.new_only, line.bell, line.all, line.log_folder, line.trace,
                    line.progress, line.color, line.json, line.quiet);
}

struct Image {
  std::string name;
  std::string content;
};

// Files that stand in for the image, so that none of the machine's own is read.
const std::array<Image, 5>& Images() {
  static const TemporaryFolder kFolder;
  static const std::array<Image, 5> kImages = [] {
    std::array<Image, 5> images = {Image{"fw_tv.bin", std::string(1500, '\x5A')},
                                   Image{"elf_tv.bin",
                                         "\x7f"
                                         "ELF" +
                                             std::string(60, '\0')},
                                   Image{"empty_tv.bin", ""}, Image{"nameless.bin", "\x5A"},
                                   Image{"missing_tv.bin", ""}};
    for (Image& image : images) {
      image.name = image.name.starts_with("missing") ? kFolder.Path(image.name)
                                                     : kFolder.WriteFile(image.name, image.content);
    }
    return images;
  }();
  return kImages;
}

bool IsGood(const Image& image, const CommandLine& line) {
  const bool has_name = image.name.ends_with("_tv.bin") || !line.record.empty();
  return has_name && !image.content.empty() && (line.raw || image.content[0] != '\x7f');
}

void CheckPlan(const Plan& plan, const CommandLine& line) {
  Require(plan.assignments.size() == line.ports.size(), "each port is assigned");
  for (std::size_t i = 0; i < line.ports.size(); ++i) {
    const Assignment& assignment = plan.assignments[i];
    Require(assignment.port.name == line.ports[i].name, "in their order");
    Require(assignment.answer_timeout == line.answer_timeout.value_or(assignment.answer_timeout) &&
                assignment.answer_timeout > std::chrono::milliseconds(0),
            "an answer has time");
    Require(assignment.deadline == line.deadline.value_or(assignment.deadline) &&
                (line.deadline || assignment.deadline >= std::chrono::seconds(1)),
            "an attempt has time");
  }
}

// Of paths alone: nobody is asked where a host is.
void CheckPlanOf(CommandLine line) {
  const Image& image = Images().at(line.image.size() % Images().size());
  const bool has_image = line.action == Action::kFlash || line.action == Action::kWatch;
  line.image = image.name;
  try {
    const Plan plan = MakePlan(line);
    Require(!has_image || (IsGood(image, line) && plan.bytes == image.content.size()),
            "the image is as it should be");
    CheckPlan(plan, line);
  } catch (const WrongPlan& mistake) {
    const std::string what = mistake.what();
    RequireHarmless(what);
    Require(what.find_first_of("\r\n") == std::string::npos, "a mistake is told in one line");
    Require(!has_image || !IsGood(image, line) || !line.record.empty() || line.ports.size() > 1,
            "nothing is wrong");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using Verdict = ModelledLine::Verdict;
  const RunLimit limit;
  FuzzInput input(data, size);
  const Texts arguments = TakeArguments(input);
  const Parsed parsed = Parse(arguments);
  CheckTexts(parsed);
  const ModelledLine model = ReadCommandLine(arguments);
  if (model.verdict == Verdict::kMayTellHelp) {
    return 0;
  }
  Require(parsed.status == (model.verdict == Verdict::kRefused ? std::optional(2) : std::nullopt),
          "the verdict is the model's");
  if (model.verdict == Verdict::kRefused) {
    return 0;
  }
  Require(AllOf(parsed.line) == AllOf(model.line), "all is understood as the model does");
  if (parsed.line.action != Action::kList &&
      std::ranges::none_of(parsed.line.ports, &PortAddress::is_tcp)) {
    CheckPlanOf(parsed.line);
  }
  return 0;
}
