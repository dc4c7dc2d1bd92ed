#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <system_error>

namespace kvo::bootloadertms::testing {

// A pipe that code under test writes to. The test reads when it likes.
class TextPipe {
 public:
  TextPipe() {
    if (::pipe2(ends_.data(), O_CLOEXEC) != 0 || ::fcntl(ends_[0], F_SETFL, O_NONBLOCK) != 0) {
      throw std::system_error(errno, std::system_category(), "pipe2");
    }
  }
  TextPipe(const TextPipe&) = delete;
  TextPipe& operator=(const TextPipe&) = delete;
  ~TextPipe() {
    CloseReader();
    ::close(ends_[1]);
  }

  int Writer() const { return ends_[1]; }

  // What has come since the last call.
  std::string Take() const {
    std::string text;
    std::array<char, 4096> piece{};
    for (ssize_t count = 0; (count = ::read(ends_[0], piece.data(), piece.size())) > 0;) {
      text.append(piece.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

  void CloseReader() {
    if (ends_[0] != -1) {
      ::close(ends_[0]);
      ends_[0] = -1;
    }
  }

 private:
  std::array<int, 2> ends_{};
};

}  // namespace kvo::bootloadertms::testing
