#include "boards/display/Bars.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "boards/display/Color.h"

namespace kvo::boards {

Bars::Bars(int descriptor, const std::vector<BoardStatus>& boards, Options options,
           std::function<ScreenSize()> size)
    : in_place_(descriptor, std::move(size)),
      boards_(boards),
      options_(options),
      printed_(boards.size()) {}

void Bars::Refresh() {
  if (!in_place_.IsReady()) {
    return;
  }
  const ScreenSize size = in_place_.Size();
  const LineLayout layout = LayoutFor(boards_, size.Width());
  std::vector<std::string> ended;
  if (CountOfUnprinted() > size.Lines()) {
    ended = TakeEnded(layout);
  }
  in_place_.Draw(size, ended, LinesOf(layout, size.Lines()));
}

void Bars::Finish(const Totals& totals) {
  std::vector<std::string> lines = TakeEnded(LayoutFor(boards_, in_place_.Size().Width()));
  if (options_.task != Task::kInfo) {
    lines.push_back(Summary(totals, options_.task));
  }
  in_place_.End(lines);
}

// What has ended, to be printed whole, so that it needn't be drawn any more.
std::vector<std::string> Bars::TakeEnded(const LineLayout& layout) {
  std::vector<std::string> lines;
  for (std::size_t board = 0; board < boards_.size(); ++board) {
    if (boards_[board].end.has_value() && !printed_[board]) {
      std::ranges::move(HistoryOf(boards_[board], layout, options_.with_color),
                        std::back_inserter(lines));
      printed_[board] = true;
    }
  }
  return lines;
}

std::size_t Bars::CountOfUnprinted() const {
  return static_cast<std::size_t>(std::count(printed_.begin(), printed_.end(), false));
}

// As many boards as there is room for, and how many there are besides.
std::vector<DrawnLine> Bars::LinesOf(const LineLayout& layout, std::size_t room) const {
  const std::size_t all = CountOfUnprinted();
  const std::size_t shown = all <= room ? all : room - 1;
  const Clock::time_point now = Clock::now();
  std::vector<DrawnLine> lines;
  for (std::size_t board = 0; board < boards_.size() && lines.size() < shown; ++board) {
    if (!printed_[board]) {
      lines.push_back(
          Drawn(LineOf(boards_[board], layout, now), boards_[board], options_.with_color));
    }
  }
  if (shown < all) {
    lines.push_back(PlainLine("... and " + std::to_string(all - shown) + " more"));
  }
  return lines;
}

}  // namespace kvo::boards
