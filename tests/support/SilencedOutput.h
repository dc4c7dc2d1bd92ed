#pragma once

#include <iostream>
#include <streambuf>

namespace kvo::bootloadertms::testing {

// Drops what is written to a standard stream for as long as the object lives, and allocates nothing
// for it.
class SilencedOutput : private std::streambuf {
 public:
  explicit SilencedOutput(std::ostream& stream = std::cout)
      : stream_(stream), original_(stream.rdbuf(this)) {}
  SilencedOutput(const SilencedOutput&) = delete;
  SilencedOutput& operator=(const SilencedOutput&) = delete;
  ~SilencedOutput() override { stream_.rdbuf(original_); }

 private:
  int_type overflow(int_type character) override { return traits_type::not_eof(character); }
  std::streamsize xsputn(const char* /*text*/, std::streamsize length) override { return length; }

  std::ostream& stream_;
  std::streambuf* original_;
};

}  // namespace kvo::bootloadertms::testing
