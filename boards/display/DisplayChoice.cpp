#include "boards/display/DisplayChoice.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <utility>

#include "boards/display/Bars.h"
#include "boards/display/Bell.h"
#include "boards/display/JsonLines.h"
#include "boards/display/Lines.h"
#include "boards/display/WatchScreen.h"

namespace kvo::boards {

namespace {

class Displays : public Display {
 public:
  explicit Displays(std::vector<std::unique_ptr<Display>> displays)
      : displays_(std::move(displays)) {}

  void Show(const BoardStatus& board, Change change) override {
    for (const auto& display : displays_) {
      display->Show(board, change);
    }
  }
  void Announce(const std::string& text) override {
    for (const auto& display : displays_) {
      display->Announce(text);
    }
  }
  void Refresh() override {
    for (const auto& display : displays_) {
      display->Refresh();
    }
  }
  void Finish(const Totals& totals) override {
    for (const auto& display : displays_) {
      display->Finish(totals);
    }
  }
  int Awaited() const override {
    for (const auto& display : displays_) {
      if (display->Awaited() >= 0) {
        return display->Awaited();
      }
    }
    return -1;
  }

 private:
  std::vector<std::unique_ptr<Display>> displays_;
};

std::string_view EnvironmentVariable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// Whether standard output is a terminal that understands escape sequences.
bool IsCapableTerminal() {
  const std::string_view terminal = EnvironmentVariable("TERM");
  return ::isatty(STDOUT_FILENO) == 1 && !terminal.empty() && terminal != "dumb";
}

bool IsColored(Color color) {
  return color == Color::kAlways ||
         (color == Color::kAuto && IsCapableTerminal() && EnvironmentVariable("NO_COLOR").empty());
}

Task TaskOf(const CommandLine& command_line) {
  if (command_line.action == Action::kInfo) {
    return Task::kInfo;
  }
  return command_line.dry_run ? Task::kDryRun : Task::kFlash;
}

bool IsDrawnInPlace(Progress progress) {
  return progress == Progress::kBars || (progress == Progress::kAuto && IsCapableTerminal());
}

std::unique_ptr<Display> ChooseForPeople(const CommandLine& command_line,
                                         const std::vector<BoardStatus>& boards) {
  const Task task = TaskOf(command_line);
  const bool is_colored = IsColored(command_line.color);
  if (IsDrawnInPlace(command_line.progress)) {
    const auto size = [] { return SizeOfTerminal(STDOUT_FILENO); };
    if (command_line.action == Action::kWatch) {
      return std::make_unique<WatchScreen>(
          STDOUT_FILENO, WatchScreen::Options{task, is_colored, command_line.patterns}, size);
    }
    return std::make_unique<Bars>(STDOUT_FILENO, boards, Bars::Options{task, is_colored}, size);
  }
  const bool with_progress = task != Task::kInfo && command_line.progress != Progress::kNone;
  return std::make_unique<Lines>(
      STDOUT_FILENO, Lines::Options{task, with_progress, is_colored, command_line.patterns});
}

}  // namespace

std::unique_ptr<Display> ChooseDisplay(const CommandLine& command_line,
                                       const std::vector<BoardStatus>& boards) {
  std::vector<std::unique_ptr<Display>> chosen;
  if (command_line.json) {
    chosen.push_back(std::make_unique<JsonLines>(STDOUT_FILENO, TaskOf(command_line),
                                                 command_line.progress != Progress::kNone));
  }
  if (command_line.quiet) {
    chosen.push_back(std::make_unique<Failures>(STDERR_FILENO));
  }
  if (chosen.empty()) {
    chosen.push_back(ChooseForPeople(command_line, boards));
  }
  if (command_line.bell) {
    // Last, so that the report is there while it still rings.
    chosen.push_back(
        std::make_unique<Bell>(::isatty(STDOUT_FILENO) == 1 ? STDOUT_FILENO : STDERR_FILENO));
  }
  return Together(std::move(chosen));
}

std::unique_ptr<Display> Together(std::vector<std::unique_ptr<Display>> displays) {
  return std::make_unique<Displays>(std::move(displays));
}

}  // namespace kvo::boards
