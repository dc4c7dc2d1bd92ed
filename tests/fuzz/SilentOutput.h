#pragma once

#include <ostream>
#include <streambuf>

namespace kvo::bootloadertms::testing {

// Drops what is written to a stream, which it borrows, for as long as it lives.
class SilentOutput : private std::streambuf {
 public:
  explicit SilentOutput(std::ostream& stream) : stream_(stream), original_(stream.rdbuf(this)) {}
  SilentOutput(const SilentOutput&) = delete;
  SilentOutput& operator=(const SilentOutput&) = delete;
  ~SilentOutput() override { stream_.rdbuf(original_); }

 private:
  int_type overflow(int_type character) override { return traits_type::not_eof(character); }
  std::streamsize xsputn(const char* /*text*/, std::streamsize length) override { return length; }

  std::ostream& stream_;
  std::streambuf* original_;
};

}  // namespace kvo::bootloadertms::testing
