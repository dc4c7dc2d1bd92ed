#pragma once

#include <functional>
#include <string>
#include <vector>

#include "boards/display/BoardLine.h"
#include "boards/display/InPlace.h"
#include "boards/display/Sentences.h"

namespace kvo::boards {

// For a terminal on which a watch is followed: what is plugged in, with results that can be seen
// from afar until their port goes; then they are lines of the history above. Below stand the
// totals.
class WatchScreen : public Display {
 public:
  struct Options {
    Task task = Task::kFlash;
    bool with_color = false;
    std::vector<std::string> patterns = {};  // that are watched
  };

  // Borrows the descriptor; of each board it keeps what it was shown last. `size` tells the
  // screen's size at any time.
  WatchScreen(int descriptor, Options options, std::function<ScreenSize()> size);

  void Show(const BoardStatus& board, Change change) override;
  void Announce(const std::string& text) override { announced_ = text; }
  void Refresh() override;
  void Finish(const Totals& totals) override;
  int Awaited() const override { return in_place_.Awaited(); }

 private:
  using Boards = std::vector<const BoardStatus*>;
  struct PluggedIn {
    const BoardStatus* identity;
    BoardStatus status;
  };

  Boards AllBoards() const;
  void AddToHistory(const BoardStatus& board, const LineLayout& layout);
  std::vector<DrawnLine> LinesOf(const ScreenSize& size) const;
  std::vector<DrawnLine> LinesOfAll(const Boards& boards, const LineLayout& layout,
                                    std::size_t room) const;
  std::vector<DrawnLine> LinesOfSome(const Boards& boards, const LineLayout& layout,
                                     std::size_t room) const;

  // The banners' sizes.
  struct Sizes {
    std::size_t failed;
    std::size_t good;
  };
  std::vector<DrawnLine> LinesWith(const Sizes& sizes, const Boards& boards,
                                   const LineLayout& layout) const;

  InPlace in_place_;
  Options options_;
  std::vector<PluggedIn> plugged_in_;  // in the order in which they came
  Totals totals_;
  std::string announced_;
  std::vector<std::string> history_;  // to be printed
};

}  // namespace kvo::boards
