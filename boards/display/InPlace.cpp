#include "boards/display/InPlace.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <utility>

#include "boards/display/Columns.h"

namespace kvo::boards {

namespace {

constexpr std::string_view kEndOfLine = "\x1b[K\r\n";  // what stood there is erased
constexpr std::string_view kEraseBelow = "\x1b[J";

// From the cursor's line on. Deliberate: not by a single sequence, for which some terminals copy
// the whole screen to their history.
constexpr const char* kErase = "\x1b[K\x1b[B\x1b[J\x1b[A";

// A little less than the time between two calls of `Display::Refresh`.
constexpr std::chrono::milliseconds kShortestFrame(80);

std::string Ended(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line;
    text += kEndOfLine;
  }
  return text;
}

}  // namespace

std::size_t ScreenSize::Width() const { return std::max<std::size_t>(columns, 2) - 1; }

std::size_t ScreenSize::Lines() const { return std::max<std::size_t>(rows, 2) - 1; }

ScreenSize SizeOfTerminal(int descriptor) {
  winsize size{};
  if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
    return {};
  }
  return {size.ws_col, size.ws_row};
}

DrawnLine PlainLine(const std::string& text) { return {text, ColumnsOf(text)}; }

InPlace::InPlace(int descriptor, std::function<ScreenSize()> size)
    : output_(descriptor), size_(std::move(size)) {}

bool InPlace::IsReady() {
  output_.Flush();
  return output_.IsIdle() && std::chrono::steady_clock::now() - drawn_at_ >= kShortestFrame;
}

void InPlace::Draw(const ScreenSize& size, const std::vector<std::string>& history,
                   std::vector<DrawnLine> lines) {
  Frame frame{size, std::move(lines)};
  if (history.empty() && frame == drawn_) {
    return;
  }
  std::string text = Rewind(size) + Ended(history);
  for (const DrawnLine& line : frame.lines) {
    text += line.text;
    text += kEndOfLine;
  }
  output_.Write(text.append(kEraseBelow));
  drawn_ = std::move(frame);
  drawn_at_ = std::chrono::steady_clock::now();
}

void InPlace::End(const std::vector<std::string>& history) {
  output_.Write((Rewind(size_()) + Ended(history)).append(kEraseBelow));
  output_.Drain();
}

// Moves the cursor to the begin of what was drawn last. Terminals wrap lines anew that have become
// too long; then all of it is erased.
std::string InPlace::Rewind(const ScreenSize& size) const {
  std::size_t rows = 0;
  for (const DrawnLine& line : drawn_.lines) {
    rows += std::max<std::size_t>(1, (line.columns + size.columns - 1) / size.columns);
  }
  if (rows == 0) {
    return "\r";
  }
  return "\r\x1b[" + std::to_string(rows) + "A" + (size == drawn_.size ? "" : kErase);
}

}  // namespace kvo::boards
