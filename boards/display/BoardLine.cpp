#include "boards/display/BoardLine.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "boards/Printable.h"
#include "boards/display/Columns.h"
#include "boards/display/Sentences.h"

namespace kvo::boards {

namespace {

constexpr std::string_view kGap = "  ";
constexpr std::size_t kLeastPort = 10;
constexpr std::size_t kPercent = 5;  // "100 %"
constexpr std::size_t kFigure = 10;  // "999.9 kB/s", "59:59 left"
constexpr std::size_t kLeastBar = 7;
constexpr std::size_t kMostBar = 27;

std::string Bar(const BoardStatus& board, std::size_t columns) {
  const std::size_t room = columns - 2;
  const std::size_t full = room * static_cast<std::size_t>(Percent(board)) / 100;
  return "[" + std::string(full, '#') + std::string(room - full, '.') + "]";
}

// Of the image, in bytes per second; 0 while it isn't known.
double RateOf(const BoardStatus& board, Clock::time_point now) {
  const double seconds = std::chrono::duration<double>(now - board.transfer_began).count();
  return seconds < 0.5 ? 0 : static_cast<double>(board.bytes_sent) / seconds;
}

std::string RateText(double rate) {
  if (rate <= 0) {
    return "";
  }
  if (rate < 999'950) {
    return Decimal(rate / 1'000) + " kB/s";
  }
  return Decimal(rate / 1'000'000) + " MB/s";
}

std::string TimeLeft(const BoardStatus& board, double rate) {
  if (rate <= 0) {
    return "";
  }
  const auto rest = static_cast<double>(board.bytes - std::min(board.bytes_sent, board.bytes));
  const auto seconds = static_cast<long>(std::ceil(rest / rate));
  const std::string text = std::to_string(seconds % 60);
  return std::to_string(seconds / 60) + (text.size() == 1 ? ":0" : ":") + text + " left";
}

std::string Activity(const BoardStatus& board) {
  if (board.is_left_alone) {
    return Arrival(board);
  }
  std::string activity = Doing(board.step);
  if (board.attempt > 1) {
    activity += ", attempt " + std::to_string(board.attempt);
  }
  return activity;
}

std::string PortAndName(const BoardStatus& board, const LineLayout& layout, std::size_t columns) {
  std::string text = Padded(EndOf(Printable(board.port), columns), columns);
  if (layout.name > 0) {
    text += std::string(kGap) + Padded(Printable(board.board), layout.name);
  }
  return text;
}

// Bar, percent, rate and time left, as many of them as there is room for before `activity`.
std::string Figures(const BoardStatus& board, std::size_t room, Clock::time_point now) {
  const std::string percent = PaddedBefore(std::to_string(Percent(board)) + " %", kPercent);
  const std::string gap(kGap);
  const double rate = RateOf(board, now);
  std::size_t used = gap.size() + kPercent;
  std::string bar;
  std::string figures;
  const bool has_bar = room >= used + gap.size() + kLeastBar;
  used += gap.size() + kLeastBar;
  if (room >= used + gap.size() + kFigure) {
    used += gap.size() + kFigure;
    figures = gap + PaddedBefore(TimeLeft(board, rate), kFigure);
  }
  if (room >= used + gap.size() + kFigure) {
    used += gap.size() + kFigure;
    figures = gap + PaddedBefore(RateText(rate), kFigure) + figures;
  }
  if (has_bar) {
    bar = gap + Bar(board, std::min(kMostBar, kLeastBar + room - used));
  }
  return bar + gap + percent + figures;
}

// `head` and how the board ended, word after word.
std::vector<ScreenLine> LinesFrom(const std::string& head, const BoardStatus& board,
                                  std::size_t width) {
  std::vector<ScreenLine> lines{{head, ""}};
  std::istringstream words(Result(board));
  for (std::string word; words >> word;) {
    const std::size_t columns = ColumnsOf(lines.back().Text()) + ColumnsOf(word);
    if (columns + (lines.back().result.empty() ? 0 : 1) > width) {
      lines.push_back({"    ", word});
    } else {
      lines.back().result += (lines.back().result.empty() ? "" : " ") + word;
    }
  }
  return lines;
}

}  // namespace

LineLayout LayoutFor(const std::vector<const BoardStatus*>& boards, std::size_t width) {
  std::size_t longest = 0;
  std::size_t name = 0;
  for (const BoardStatus* board : boards) {
    longest = std::max(longest, ColumnsOf(Printable(board->port)));
    name = std::max(name, ColumnsOf(Printable(board->board)));
  }
  const std::size_t port = std::min(longest, std::max(kLeastPort, width * 2 / 5));
  const std::size_t all = port + name + kLeastBar + kPercent + 2 * kFigure +
                          ColumnsOf(Doing(Step::kTransfer)) + 6 * kGap.size();
  return {width, port, all <= width ? name : 0};
}

LineLayout LayoutFor(const std::vector<BoardStatus>& boards, std::size_t width) {
  std::vector<const BoardStatus*> all;
  for (const BoardStatus& board : boards) {
    all.push_back(&board);
  }
  return LayoutFor(all, width);
}

ScreenLine LineOf(const BoardStatus& board, const LineLayout& layout, Clock::time_point now) {
  if (board.end.has_value()) {
    const std::string head =
        CutTo(PortAndName(board, layout, layout.port) + std::string(kGap), layout.width);
    return {head, Shortened(Result(board), layout.width - ColumnsOf(head))};
  }
  const std::string activity = std::string(kGap) + Activity(board);
  const bool has_figures = board.step == Step::kTransfer;
  const std::size_t needed = ColumnsOf(activity) + (has_figures ? kGap.size() + kPercent : 0);
  const std::size_t rest = layout.width - std::min(layout.width, needed);
  const std::size_t port = std::min(layout.port, std::max(kLeastPort, rest));
  std::string text = PortAndName(board, layout, port);
  if (has_figures) {
    const std::size_t taken = ColumnsOf(text + activity);
    text += Figures(board, layout.width - std::min(layout.width, taken), now);
  }
  return {CutTo(text + activity, layout.width), ""};
}

std::vector<ScreenLine> WholeLinesOf(const BoardStatus& board, const LineLayout& layout) {
  const std::size_t columns = std::max(layout.port, ColumnsOf(Printable(board.port)));
  return LinesFrom(PortAndName(board, layout, columns) + std::string(kGap), board, layout.width);
}

std::vector<ScreenLine> WrappedLinesOf(const BoardStatus& board, const LineLayout& layout) {
  const std::string head = PortAndName(board, layout, layout.port) + std::string(kGap);
  std::vector<ScreenLine> lines = LinesFrom(head, board, layout.width);
  for (ScreenLine& line : lines) {
    line.head = CutTo(line.head, layout.width);
    line.result = Shortened(line.result, layout.width - ColumnsOf(line.head));
  }
  return lines;
}

}  // namespace kvo::boards
