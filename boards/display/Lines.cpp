#include "boards/display/Lines.h"

#include <utility>

#include "boards/Printable.h"
#include "boards/display/Color.h"

namespace kvo::boards {

Lines::Lines(int descriptor, Options options) : output_(descriptor), options_(std::move(options)) {
  if (!options_.patterns.empty() && options_.with_progress) {
    output_.Write(WaitingFor(options_.patterns) + "\n");
  }
}

void Lines::Show(const BoardStatus& board, Change change) {
  if (change != Change::kEnd && !options_.with_progress) {
    return;
  }
  std::string told = story_.Tell(board, change);
  if (told.empty()) {
    return;
  }
  if (change == Change::kEnd && options_.with_color) {
    told = Colored(told, *board.end);
  }
  const std::string line = Printable(board.port) + ": " + told + "\n";
  if (change == Change::kProgress) {
    output_.WriteUnlessFull(line);
  } else {
    output_.Write(line);
  }
  if (change == Change::kEnd && !options_.patterns.empty()) {
    ++(IsGood(*board.end) ? totals_.good : totals_.failed);
    output_.Write(RunningTotals(totals_, options_.task) + "\n");
  }
}

void Lines::Finish(const Totals& totals) {
  if (options_.task != Task::kInfo) {
    output_.Write(Summary(totals, options_.task) + "\n");
  }
  output_.Drain();
}

void Failures::Show(const BoardStatus& board, Change change) {
  if (change == Change::kEnd && !IsGood(*board.end)) {
    output_.Write(Printable(board.port) + ": " + Result(board) + "\n");
  }
}

void Failures::Finish(const Totals& /*totals*/) { output_.Drain(); }

}  // namespace kvo::boards
