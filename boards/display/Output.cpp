#include "boards/display/Output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

namespace kvo::boards {

namespace {

constexpr std::size_t kFull = 64UL * 1024;

// What can be written to a pipe or terminal that polls as writable without blocking.
constexpr std::size_t kPiece = 512;

constexpr std::chrono::milliseconds kRest(10);

UniqueDescriptor OpenAnew(int descriptor) {
  if (::isatty(descriptor) == 0) {
    return {};
  }
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  return UniqueDescriptor(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

}  // namespace

Output::Output(int descriptor)
    : own_(OpenAnew(descriptor)), descriptor_(own_.Get() >= 0 ? own_.Get() : descriptor) {}

void Output::Write(std::string_view text) {
  if (!is_gone_) {
    queue_ += text;
    Flush();
  }
}

void Output::WriteUnlessFull(std::string_view text) {
  if (queue_.size() <= kFull) {
    Write(text);
  }
}

void Output::Flush() {
  while (!queue_.empty() && WaitUntilWritable(std::chrono::milliseconds(0)) && WritePiece()) {
  }
}

void Output::Drain(std::chrono::milliseconds patience) {
  auto taken = std::chrono::steady_clock::now();
  while (!queue_.empty()) {
    if (WaitUntilWritable(kRest) && WritePiece()) {
      taken = std::chrono::steady_clock::now();
    } else if (std::chrono::steady_clock::now() - taken >= patience) {
      GiveUp();
    } else {
      // A terminal may poll as writable and have no room for a whole line's end.
      std::this_thread::sleep_for(kRest);
    }
  }
}

int Output::Awaited() const { return queue_.empty() ? -1 : descriptor_; }

// Where the system can't tell, the write will.
bool Output::WaitUntilWritable(std::chrono::milliseconds limit) const {
  pollfd awaited{descriptor_, POLLOUT, 0};
  const int count = ::poll(&awaited, 1, static_cast<int>(limit.count()));
  return count > 0 || (count == -1 && errno != EINTR);
}

// False when the reader took nothing.
bool Output::WritePiece() {
  const ssize_t written = ::write(descriptor_, queue_.data(), std::min(queue_.size(), kPiece));
  if (written >= 0) {
    queue_.erase(0, static_cast<std::size_t>(written));
    return written > 0;
  }
  if (errno != EAGAIN && errno != EINTR) {
    GiveUp();
  }
  return false;
}

void Output::GiveUp() {
  is_gone_ = true;
  queue_.clear();
}

}  // namespace kvo::boards
