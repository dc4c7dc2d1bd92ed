#include "boards/display/Bars.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <utility>

#include "boards/display/Color.h"

namespace kvo::boards {

namespace {

constexpr std::string_view kEndOfLine = "\x1b[K\r\n";  // what stood there is erased
constexpr std::string_view kEraseBelow = "\x1b[J";

// From the cursor's line on. Deliberate: not by a single sequence, for which some terminals copy
// the whole screen to their history.
constexpr const char* kErase = "\x1b[K\x1b[B\x1b[J\x1b[A";

// A little less than the time between two calls of `Refresh`.
constexpr std::chrono::milliseconds kShortestFrame(80);

// A line that reaches the last column may move the cursor on, or may not.
std::size_t WidthOf(const ScreenSize& size) { return std::max<std::size_t>(size.columns, 2) - 1; }

}  // namespace

ScreenSize SizeOfTerminal(int descriptor) {
  winsize size{};
  if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
    return {};
  }
  return {size.ws_col, size.ws_row};
}

Bars::Bars(int descriptor, const std::vector<BoardStatus>& boards, Options options,
           std::function<ScreenSize()> size)
    : output_(descriptor),
      boards_(boards),
      options_(options),
      size_(std::move(size)),
      printed_(boards.size()) {}

void Bars::Refresh() {
  output_.Flush();
  if (!output_.IsIdle() || Clock::now() - drawn_at_ < kShortestFrame) {
    return;
  }
  const ScreenSize size = size_();
  const LineLayout layout = LayoutFor(boards_, WidthOf(size));
  const std::size_t room = std::max<std::size_t>(size.rows, 2) - 1;
  const std::string ended = CountOfUnprinted() > room ? PrintEnded(layout) : "";
  Frame frame{size, LinesOf(layout, room)};
  if (ended.empty() && frame == drawn_) {
    return;
  }
  std::string text = Rewind(size) + ended;
  for (const Drawn& line : frame.lines) {
    text += line.text;
    text += kEndOfLine;
  }
  output_.Write(text.append(kEraseBelow));
  drawn_ = std::move(frame);
  drawn_at_ = Clock::now();
}

void Bars::Finish(const Totals& totals) {
  const ScreenSize size = size_();
  std::string text = Rewind(size) + PrintEnded(LayoutFor(boards_, WidthOf(size)));
  if (options_.task != Task::kInfo) {
    text += Summary(totals, options_.task).append(kEndOfLine);
  }
  output_.Write(text.append(kEraseBelow));
  output_.Drain();
}

// Prints what has ended, whole, so that it needn't be drawn any more.
std::string Bars::PrintEnded(const LineLayout& layout) {
  std::string text;
  for (std::size_t board = 0; board < boards_.size(); ++board) {
    if (boards_[board].end.has_value() && !printed_[board]) {
      text += Ended(boards_[board], layout);
      printed_[board] = true;
    }
  }
  return text;
}

std::string Bars::Ended(const BoardStatus& board, const LineLayout& layout) const {
  std::string text;
  for (const ScreenLine& line : WholeLinesOf(board, layout)) {
    text += InColor(line, board);
    text += kEndOfLine;
  }
  return text;
}

std::string Bars::InColor(const ScreenLine& line, const BoardStatus& board) const {
  return options_.with_color && board.end.has_value() ? line.head + Colored(line.result, *board.end)
                                                      : line.Text();
}

std::size_t Bars::CountOfUnprinted() const {
  return static_cast<std::size_t>(std::count(printed_.begin(), printed_.end(), false));
}

// As many boards as there is room for, and how many there are besides.
std::vector<Bars::Drawn> Bars::LinesOf(const LineLayout& layout, std::size_t room) const {
  const std::size_t all = CountOfUnprinted();
  const std::size_t shown = all <= room ? all : room - 1;
  const Clock::time_point now = Clock::now();
  std::vector<Drawn> lines;
  for (std::size_t board = 0; board < boards_.size() && lines.size() < shown; ++board) {
    if (!printed_[board]) {
      const ScreenLine line = LineOf(boards_[board], layout, now);
      lines.push_back({InColor(line, boards_[board]), ColumnsOf(line.Text())});
    }
  }
  if (shown < all) {
    const std::string text = "... and " + std::to_string(all - shown) + " more";
    lines.push_back({text, ColumnsOf(text)});
  }
  return lines;
}

// Moves the cursor to the begin of what was drawn last. Terminals wrap lines anew that have become
// too long; then all of it is erased.
std::string Bars::Rewind(const ScreenSize& size) const {
  std::size_t rows = 0;
  for (const Drawn& line : drawn_.lines) {
    rows += std::max<std::size_t>(1, (line.columns + size.columns - 1) / size.columns);
  }
  if (rows == 0) {
    return "\r";
  }
  return "\r\x1b[" + std::to_string(rows) + "A" + (size == drawn_.size ? "" : kErase);
}

}  // namespace kvo::boards
