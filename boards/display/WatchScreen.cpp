#include "boards/display/WatchScreen.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "boards/display/Banner.h"
#include "boards/display/Color.h"
#include "boards/display/Columns.h"

namespace kvo::boards {

namespace {

// In the order in which they are left out when there is no room for all.
enum class Kind : std::uint8_t { kLeftAlone, kGood, kInWork, kFailed };

Kind KindOf(const BoardStatus& board) {
  if (board.is_left_alone) {
    return Kind::kLeftAlone;
  }
  if (!board.end.has_value()) {
    return Kind::kInWork;
  }
  return IsGood(*board.end) ? Kind::kGood : Kind::kFailed;
}

}  // namespace

WatchScreen::WatchScreen(int descriptor, Options options, std::function<ScreenSize()> size)
    : in_place_(descriptor, std::move(size)), options_(std::move(options)) {}

void WatchScreen::Show(const BoardStatus& board, Change change) {
  if (change == Change::kCame) {
    plugged_in_.push_back({&board, board});
    return;
  }
  const auto known = std::ranges::find(plugged_in_, &board, &PluggedIn::identity);
  if (known == plugged_in_.end()) {
    return;
  }
  if (change == Change::kGone) {
    AddToHistory(known->status, LayoutFor(AllBoards(), in_place_.Size().Width()));
    plugged_in_.erase(known);
    return;
  }
  known->status = board;
  if (change == Change::kEnd) {
    ++(IsGood(*board.end) ? totals_.good : totals_.failed);
  }
}

void WatchScreen::Refresh() {
  if (!in_place_.IsReady()) {
    return;
  }
  const ScreenSize size = in_place_.Size();
  in_place_.Draw(size, std::exchange(history_, {}), LinesOf(size));
}

void WatchScreen::Finish(const Totals& totals) {
  const LineLayout layout = LayoutFor(AllBoards(), in_place_.Size().Width());
  for (const PluggedIn& board : plugged_in_) {
    AddToHistory(board.status, layout);
  }
  history_.push_back(Summary(totals, options_.task));
  in_place_.End(history_);
}

WatchScreen::Boards WatchScreen::AllBoards() const {
  Boards boards;
  for (const PluggedIn& board : plugged_in_) {
    boards.push_back(&board.status);
  }
  return boards;
}

void WatchScreen::AddToHistory(const BoardStatus& board, const LineLayout& layout) {
  if (board.end.has_value()) {
    std::ranges::move(HistoryOf(board, layout, options_.with_color), std::back_inserter(history_));
  }
}

std::vector<DrawnLine> WatchScreen::LinesOf(const ScreenSize& size) const {
  const Boards boards = AllBoards();
  const LineLayout layout = LayoutFor(boards, size.Width());
  const std::size_t room = size.Lines() - 1;
  std::vector<DrawnLine> lines;
  if (boards.size() > room) {
    lines = LinesOfSome(boards, layout, room);
  } else if (!boards.empty()) {
    lines = LinesOfAll(boards, layout, room);
  } else if (room > 0) {
    lines = {PlainLine(Shortened(WaitingFor(options_.patterns), layout.width))};
  }
  const std::string totals = RunningTotals(totals_, options_.task);
  const std::string last = totals + (announced_.empty() ? "" : ". " + announced_);
  lines.push_back(PlainLine(CutTo(last, layout.width)));
  if (lines.size() < size.Lines()) {
    lines.insert(lines.begin(), PlainLine(""));  // between the history and what is now
  }
  return lines;
}

// Each result as large as there is room for, the failed ones first.
std::vector<DrawnLine> WatchScreen::LinesOfAll(const Boards& boards, const LineLayout& layout,
                                               std::size_t room) const {
  Sizes sizes{kSmallestBanner, kSmallestBanner};
  for (std::size_t* size : {&sizes.failed, &sizes.good}) {
    *size = 0;
    while (*size < kSmallestBanner && LinesWith(sizes, boards, layout).size() > room) {
      ++*size;
    }
  }
  return LinesWith(sizes, boards, layout);
}

// The most important ones, and how many there are besides.
std::vector<DrawnLine> WatchScreen::LinesOfSome(const Boards& boards, const LineLayout& layout,
                                                std::size_t room) const {
  if (room == 0) {
    return {};
  }
  Boards shown = boards;
  std::size_t excess = shown.size() - (room - 1);
  for (const Kind kind : {Kind::kLeftAlone, Kind::kGood, Kind::kInWork, Kind::kFailed}) {
    std::erase_if(shown, [kind, &excess](const BoardStatus* board) {
      return KindOf(*board) == kind && excess > 0 && excess-- > 0;
    });
  }
  std::vector<DrawnLine> lines = LinesWith({kSmallestBanner, kSmallestBanner}, shown, layout);
  lines.push_back(PlainLine(
      CutTo("... and " + std::to_string(boards.size() - shown.size()) + " more", layout.width)));
  return lines;
}

std::vector<DrawnLine> WatchScreen::LinesWith(const Sizes& sizes, const Boards& boards,
                                              const LineLayout& layout) const {
  const Clock::time_point now = Clock::now();
  std::vector<DrawnLine> lines;
  for (const BoardStatus* board : boards) {
    if (!board->end.has_value()) {
      lines.push_back(PlainLine(LineOf(*board, layout, now).Text()));
      continue;
    }
    const std::size_t size = IsGood(*board->end) ? sizes.good : sizes.failed;
    std::ranges::move(BannerOf(*board, layout, size, options_.with_color),
                      std::back_inserter(lines));
  }
  return lines;
}

}  // namespace kvo::boards
