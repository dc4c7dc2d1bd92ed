#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "boards/display/Output.h"

namespace kvo::boards {

struct ScreenSize {
  std::size_t columns = 80;
  std::size_t rows = 24;
  bool operator==(const ScreenSize&) const = default;

  // What is drawn in place has room for this: a line that reaches the last column may move the
  // cursor on, or may not, and the cursor waits in a row of its own.
  std::size_t Width() const;
  std::size_t Lines() const;
};

// Of the terminal; 80 by 24 if it doesn't tell.
ScreenSize SizeOfTerminal(int descriptor);

struct DrawnLine {
  std::string text;
  std::size_t columns = 0;
  bool operator==(const DrawnLine&) const = default;
};

// Of a text without escape sequences.
DrawnLine PlainLine(const std::string& text);

// Lines that are drawn anew in place, in the terminal's own scrolling text.
class InPlace {
 public:
  // Borrows the descriptor. `size` tells the screen's size at any time.
  InPlace(int descriptor, std::function<ScreenSize()> size);

  ScreenSize Size() const { return size_(); }

  // Whether it is time for a frame: the terminal has taken all, and the last frame isn't too young.
  bool IsReady();

  // Draws `lines`, which fit the size, over those of the last frame; `history` is printed for good
  // above them. Writes nothing when nothing has changed.
  void Draw(const ScreenSize& size, const std::vector<std::string>& history,
            std::vector<DrawnLine> lines);

  // Prints `history` in place of the last frame, and waits until the terminal has it.
  void End(const std::vector<std::string>& history);

  int Awaited() const { return output_.Awaited(); }

 private:
  struct Frame {
    ScreenSize size;
    std::vector<DrawnLine> lines;
    bool operator==(const Frame&) const = default;
  };

  std::string Rewind(const ScreenSize& size) const;

  Output output_;
  std::function<ScreenSize()> size_;
  Frame drawn_;
  std::chrono::steady_clock::time_point drawn_at_;
};

}  // namespace kvo::boards
