#include "boards/display/Bell.h"

#include <algorithm>
#include <thread>

namespace kvo::boards {

namespace {

using namespace std::chrono_literals;

constexpr std::string_view kBell = "\a";

// So that each ring is heard, and that three of them sound like one board.
constexpr std::chrono::milliseconds kBetweenRings = 300ms;
constexpr std::chrono::milliseconds kBetweenBoards = 900ms;

// How long the end may be put off; the rest is rung at once.
constexpr std::chrono::milliseconds kPatience = 4s;

}  // namespace

void Bell::Show(const BoardStatus& board, Change change) {
  if (change == Change::kEnd) {
    rings_.push_back(IsGood(*board.end) ? 1 : 3);
  }
}

void Bell::Refresh() {
  output_.Flush();
  if (!rings_.empty() && Clock::now() >= next_) {
    RingNext();
  }
}

void Bell::Finish(const Totals& /*totals*/) {
  const Clock::time_point end = Clock::now() + kPatience;
  while (!rings_.empty()) {
    std::this_thread::sleep_for(std::min(next_, end) - Clock::now());
    RingNext();
  }
  output_.Drain(kPatience);
}

void Bell::RingNext() {
  output_.Write(kBell);
  --rings_.front();
  next_ = Clock::now() + (rings_.front() > 0 ? kBetweenRings : kBetweenBoards);
  if (rings_.front() == 0) {
    rings_.pop_front();
  }
}

}  // namespace kvo::boards
