#include "boards/display/Sentences.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <ctime>

#include "boards/Printable.h"

namespace kvo::boards {

namespace {

std::string Answers(const BoardStatus& board) {
  constexpr std::array<std::string_view, kFields> kIntroductions = {
      "",         "serial ",  "hardware ",    "product ",
      "version ", "version ", "boot status ", "application information "};
  const auto answer = [&board](Field field) -> const std::string& {
    return board.answers.at(static_cast<std::size_t>(field));
  };
  std::string told;
  for (std::size_t index = 0; index < kFields; ++index) {
    const auto field = static_cast<Field>(index);
    if (answer(field).empty()) {
      continue;
    }
    told += told.empty() ? "" : ", ";
    // Both parts of the version share one introduction.
    if (field != Field::kVersionLower || answer(Field::kVersionUpper).empty()) {
      told += kIntroductions.at(index);
    }
    told += Printable(answer(field));
  }
  return told;
}

std::string CountOfGood(const Totals& totals, Task task) {
  return std::to_string(totals.good) + (task == Task::kDryRun ? " ready" : " flashed");
}

std::string CountOfFailed(const Totals& totals) {
  return std::to_string(totals.failed) + " failed";
}

}  // namespace

std::string Doing(Step step) {
  switch (step) {
    case Step::kOpening:
      return "opening the port";
    case Step::kWaiting:
      return "waiting for its turn";
    case Step::kSwitching:
      return "switching to the bootloader";
    case Step::kTransfer:
      return "sending";
    case Step::kStarting:
      return "starting the application";
    case Step::kAsking:
      break;
  }
  return "asking";
}

std::string Result(const BoardStatus& board) {
  switch (board.end->outcome) {
    case Outcome::kFlashed:
      return "flashed in " + Decimal(board.end->seconds) + " s";
    case Outcome::kReady:
      return "ready";
    case Outcome::kAnswered:
      return Answers(board);
    case Outcome::kSilent:
      return "silent";
    case Outcome::kFailed:
      break;
  }
  return "failed: " + Printable(board.end->message);
}

std::string Summary(const Totals& totals, Task task) {
  std::string summary =
      std::to_string(totals.boards) + (totals.boards == 1 ? " board: " : " boards: ");
  if (totals.good > 0 || totals.failed == 0) {
    summary += CountOfGood(totals, task);
  }
  if (totals.failed > 0) {
    summary += (totals.good > 0 ? ", " : "") + CountOfFailed(totals);
  }
  return summary;
}

std::string RunningTotals(const Totals& totals, Task task) {
  return CountOfGood(totals, task) + ", " + CountOfFailed(totals);
}

std::string WaitingFor(const std::vector<std::string>& patterns) {
  std::string text = "Waiting for boards at ";
  for (const std::string& pattern : patterns) {
    text += (&pattern == patterns.data() ? "" : ", ") + Printable(pattern);
  }
  return text;
}

std::string Arrival(const BoardStatus& board) {
  return board.is_left_alone ? "already plugged in, ignored" : "plugged in";
}

int Percent(const BoardStatus& board) {
  return board.bytes == 0
             ? 0
             : static_cast<int>(std::min(board.bytes_sent, board.bytes) * 100 / board.bytes);
}

std::string Decimal(double value) {
  if (!std::isfinite(value)) {
    return "?";
  }
  std::array<char, 400> text{};
  const auto [end, error] =
      std::to_chars(text.begin(), text.end(), value, std::chars_format::fixed, 1);
  return {text.begin(), end};
}

std::string UtcTime(int digits) {
  const auto now = std::chrono::system_clock::now();
  const auto second = std::chrono::floor<std::chrono::seconds>(now);
  const std::time_t time = std::chrono::system_clock::to_time_t(second);
  std::tm parts{};
  ::gmtime_r(&time, &parts);
  std::array<char, 40> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.", &parts);
  const std::string fraction = std::to_string(
      1'000'000 + std::chrono::duration_cast<std::chrono::microseconds>(now - second).count());
  return text.data() + fraction.substr(1, static_cast<std::size_t>(digits)) + "Z";
}

std::string Story::Tell(const BoardStatus& board, Change change) {
  switch (change) {
    case Change::kCame:
      return Arrival(board);
    case Change::kGone:
      return "unplugged";
    case Change::kAttempt:
      tenths_.erase(&board);
      if (board.attempt > 1) {
        return "attempt " + std::to_string(board.attempt);
      }
      return "";
    case Change::kStep:
      return Doing(board.step);
    case Change::kProgress:
      return NextTenth(board);
    case Change::kEnd:
      break;
  }
  tenths_.erase(&board);
  return Result(board);
}

std::string Story::NextTenth(const BoardStatus& board) {
  const int tenth = Percent(board) / 10;
  int& told = tenths_[&board];
  if (tenth <= told) {
    return "";
  }
  told = tenth;
  return std::to_string(10 * tenth) + " %";
}

}  // namespace kvo::boards
