#pragma once

#include <string>

#include "boards/BoardStatus.h"

namespace kvo::boards {

enum class Change : std::uint8_t {
  kCame,  // its port is plugged in; in a watch alone, and first
  kAttempt,
  kStep,
  kProgress,
  kEnd,
  kGone,  // nothing more is to be told of it; in a watch alone
};

// Whoever shows or records what becomes of the boards. It knows nothing of ports and processes; the
// supervisor knows nothing of terminals. All calls come from one thread; none may block or throw.
class Display {
 public:
  Display() = default;
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;
  virtual ~Display() = default;

  // A board has changed. `Change::kAttempt` comes once per attempt, `Change::kEnd` once per board
  // that was served. The reference is to the same object for as long as the boards last; in a watch
  // up to `Change::kGone`, which comes after `Change::kEnd`, or alone for a board that wasn't
  // served.
  virtual void Show(const BoardStatus& board, Change change) = 0;

  // Something that concerns no single board: a line for people.
  virtual void Announce(const std::string& /*text*/) {}

  // Called about ten times a second, and when the terminal may have changed its size.
  virtual void Refresh() {}

  // All boards have ended. Nothing is called after it.
  virtual void Finish(const Totals& totals) = 0;

  // A descriptor that `Refresh` is to be called for as soon as it can be written to; -1 for none.
  virtual int Awaited() const { return -1; }
};

}  // namespace kvo::boards
