#include "fuzz/Papers.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>

#include "boards/display/Bars.h"
#include "boards/display/DisplayChoice.h"
#include "boards/display/JsonLines.h"
#include "boards/display/Lines.h"
#include "boards/display/WatchScreen.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Harmless.h"

namespace kvo::bootloadertms::testing {

namespace {

using namespace kvo::boards;
using Json = nlohmann::json;

// The text without the escape sequences that the program itself writes.
std::string WithoutSequences(const std::string& text) {
  std::string left;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text.compare(i, 2, "\x1b[") != 0) {
      left += text[i];
      continue;
    }
    i = text.find_first_not_of("0123456789;", i + 2);
    Require(i != std::string::npos && std::strchr("ABJKm", text[i]) != nullptr, "a known sequence");
  }
  return left;
}

// A watch's screen, on which boards come and go.
class ComingAndGoing : public WatchScreen {
 public:
  using WatchScreen::WatchScreen;

  void Show(const BoardStatus& board, Change change) override {
    if (change == Change::kAttempt && board.attempt == 1) {
      WatchScreen::Show(board, Change::kCame);
    }
    WatchScreen::Show(board, change);
    if (change == Change::kEnd && board.attempt % 2 == 0) {
      WatchScreen::Show(board, Change::kGone);
    }
  }
};

std::vector<Json> EventsIn(const std::string& text) {
  std::vector<Json> events;
  std::size_t begin = 0;
  for (std::size_t end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
    events.push_back(Json::parse(text.substr(begin, end - begin), nullptr, false));
    Require(events.back().is_object(), "each line is an object");
  }
  Require(begin == text.size(), "the last line is whole");
  return events;
}

void CheckEvent(const Json& event) {
  for (const char* count : {"bytes_sent", "block", "bytes_per_second", "attempts", "seconds"}) {
    Require(!event.contains(count) || event.at(count) >= 0, "no count is negative");
  }
  Require(!event.contains("bytes_sent") || event.at("bytes_sent") <= event.at("bytes"),
          "no more is told than there is");
  Require(event.value("result", "") != "flashed" || event.at("attempts") > 0,
          "a board that was flashed was begun");
}

void CheckEvents(const std::vector<Json>& events, Task task, const Totals& totals) {
  const bool is_info = task == Task::kInfo;
  std::size_t ends = 0;
  for (const Json& event : events) {
    ends += event.at("event") == (is_info ? "info" : "finished") ? 1U : 0U;
    CheckEvent(event);
  }
  Require(ends == totals.boards, "each board's end is told once");
  Require(is_info || (events.back().at("event") == "summary" &&
                      events.back().at("failed") == totals.failed &&
                      events.back().at("boards") == totals.boards),
          "the summary is the last");
}

}  // namespace

Paper::Paper() : descriptor_(::memfd_create("paper", MFD_CLOEXEC)) {}

std::string Paper::Take() const {
  std::string text(static_cast<std::size_t>(::lseek(descriptor_.Get(), 0, SEEK_END)), '\0');
  Require(
      ::pread(descriptor_.Get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
      "what was written can be read");
  Require(::ftruncate(descriptor_.Get(), 0) == 0 && ::lseek(descriptor_.Get(), 0, SEEK_SET) == 0,
          "anew");
  return text;
}

std::unique_ptr<Display> Papers::MakeDisplay(const DisplayOptions& options,
                                             const std::vector<BoardStatus>& boards,
                                             std::unique_ptr<Display> observer) const {
  const auto has = [&options](unsigned bit) { return ((options.which >> bit) & 1U) != 0; };
  const auto size = [screen = options.screen] { return screen; };
  const auto& [task, with_color, screen, which] = options;
  const int text = text_.Descriptor();
  std::vector<std::unique_ptr<Display>> displays;
  displays.push_back(std::move(observer));
  if (has(0)) {
    displays.push_back(std::make_unique<JsonLines>(json_.Descriptor(), task, true));
  }
  if (has(1)) {
    displays.push_back(std::make_unique<Bars>(text, boards, Bars::Options{task, with_color}, size));
  }
  if (has(2)) {
    displays.push_back(
        std::make_unique<Lines>(text, Lines::Options{.task = task, .with_color = with_color}));
  }
  if (has(3)) {
    displays.push_back(std::make_unique<ComingAndGoing>(
        text, WatchScreen::Options{task, with_color, {"/dev/*"}}, size));
  }
  if (has(4)) {
    displays.push_back(std::make_unique<Failures>(text));
  }
  return Together(std::move(displays));
}

void Papers::Check(const DisplayOptions& options, const Totals& totals) const {
  RequireHarmless(WithoutSequences(text_.Take()));
  const std::string json = json_.Take();
  RequireHarmless(json);
  if ((options.which & 1U) != 0) {
    CheckEvents(EventsIn(json), options.task, totals);
  }
}

}  // namespace kvo::bootloadertms::testing
