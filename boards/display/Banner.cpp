#include "boards/display/Banner.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "boards/display/Color.h"
#include "boards/display/Columns.h"

namespace kvo::boards {

namespace {

constexpr std::size_t kLetterRows = 5;

struct Letter {
  char name;
  std::array<std::string_view, kLetterRows> rows;
};

constexpr std::array<Letter, 10> kLetters = {{
    {'A', {" ## ", "#  #", "####", "#  #", "#  #"}},
    {'D', {"### ", "#  #", "#  #", "#  #", "### "}},
    {'E', {"####", "#   ", "### ", "#   ", "####"}},
    {'F', {"####", "#   ", "### ", "#   ", "#   "}},
    {'H', {"#  #", "#  #", "####", "#  #", "#  #"}},
    {'I', {"###", " # ", " # ", " # ", "###"}},
    {'L', {"#   ", "#   ", "#   ", "#   ", "####"}},
    {'R', {"### ", "#  #", "### ", "# # ", "#  #"}},
    {'S', {" ###", "#   ", " ## ", "   #", "### "}},
    {'Y', {"# #", "# #", " # ", " # ", " # "}},
}};

// How many columns and rows a letter's dot takes: by size, for those that have letters. A column is
// about half as wide as a row is high.
struct Dot {
  std::size_t columns;
  std::size_t rows;
};
constexpr std::array<Dot, 5> kDots = {{{8, 4}, {6, 3}, {4, 2}, {2, 1}, {1, 1}}};

std::string_view WordOf(const BoardStatus::End& end) {
  if (!IsGood(end)) {
    return "FAILED";
  }
  return end.outcome == Outcome::kReady ? "READY" : "FLASHED";
}

std::string LetterRow(std::string_view word, std::size_t row, std::size_t columns_per_dot) {
  std::string text;
  for (const char name : word) {
    text.append(text.empty() ? 0 : columns_per_dot, ' ');
    for (const char dot : std::ranges::find(kLetters, name, &Letter::name)->rows.at(row)) {
      text.append(columns_per_dot, dot);
    }
  }
  return text;
}

// What a banner's rows are drawn on: with colour a band over the whole width.
class Band {
 public:
  Band(const BoardStatus::End& end, std::size_t width, bool with_color)
      : is_good_(IsGood(end)), width_(width), with_color_(with_color) {}

  DrawnLine Text(const std::string& text) const { return Row(text, kGround); }

  // Of '#', which are filled with a colour of their own.
  DrawnLine Letters(const std::string& text) const {
    return Row(std::string((width_ - ColumnsOf(text)) / 2, ' ') + text, kDot);
  }

  // The word among signs that reach over the whole width; blanks will do on a band of colour.
  DrawnLine Rule(std::string_view word) const {
    const char sign = with_color_ ? ' ' : is_good_ ? '=' : '#';
    const std::string before((width_ - word.size()) / 2, sign);
    const std::string after(width_ - word.size() - before.size(), sign);
    return Text(before + std::string(word) + after);
  }

 private:
  enum Paint : std::uint8_t { kGround, kDot };

  DrawnLine Row(const std::string& text, Paint signs) const {
    if (!with_color_) {
      return PlainLine(text.substr(0, text.find_last_not_of(' ') + 1));
    }
    std::string painted;
    std::optional<Paint> last;
    for (const char character : Padded(text, width_)) {
      const Paint paint = character == '#' ? signs : kGround;
      painted += paint == last ? "" : SequenceFor(paint);
      painted += character;
      last = paint;
    }
    return {painted + "\x1b[0m", width_};
  }

  // Black on green, white on red.
  std::string SequenceFor(Paint paint) const {
    if (is_good_) {
      return paint == kGround ? "\x1b[30;42m" : "\x1b[30;40m";
    }
    return paint == kGround ? "\x1b[37;41m" : "\x1b[37;47m";
  }

  bool is_good_;
  std::size_t width_;
  bool with_color_;
};

std::vector<DrawnLine> InLetters(const BoardStatus& board, const LineLayout& layout, const Dot& dot,
                                 bool with_color) {
  const Band band(*board.end, layout.width, with_color);
  std::vector<DrawnLine> lines{band.Text("")};
  for (std::size_t row = 0; row < kLetterRows; ++row) {
    const std::string letters = LetterRow(WordOf(*board.end), row, dot.columns);
    lines.insert(lines.end(), dot.rows, band.Letters(letters));
  }
  lines.push_back(band.Text(""));
  for (const ScreenLine& line : WrappedLinesOf(board, layout)) {
    lines.push_back(Drawn(line, board, with_color));
  }
  return lines;
}

}  // namespace

std::vector<DrawnLine> BannerOf(const BoardStatus& board, const LineLayout& layout,
                                std::size_t size, bool with_color) {
  const std::string_view word = WordOf(*board.end);
  for (; size < kDots.size(); ++size) {
    if (LetterRow(word, 0, kDots.at(size).columns).size() <= layout.width) {
      return InLetters(board, layout, kDots.at(size), with_color);
    }
  }
  const Band band(*board.end, layout.width, with_color);
  const DrawnLine line = band.Text(LineOf(board, layout, {}).Text());
  if (size == kSmallestBanner || word.size() + 2 > layout.width) {
    return {line};
  }
  return {band.Rule(" " + std::string(word) + " "), line, band.Rule("")};
}

}  // namespace kvo::boards
