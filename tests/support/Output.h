#pragma once

#include <iostream>
#include <streambuf>
#include <string>

namespace kvo::bootloadertms::testing {

// Takes what is written to a standard stream for as long as the object lives, instead of showing
// it. Nothing may write to the stream from another thread.
class CapturedStream : private std::streambuf {
 public:
  // `stream` is borrowed and gets its own buffer back at the end.
  explicit CapturedStream(std::ostream& stream);
  CapturedStream(const CapturedStream&) = delete;
  CapturedStream& operator=(const CapturedStream&) = delete;
  ~CapturedStream() override;

  // All that was written.
  const std::string& Text() const;

  // All that was written, with "<flush>" where the stream was flushed.
  const std::string& TextWithFlushes() const;

 private:
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* text, std::streamsize length) override;
  int sync() override;

  std::ostream& stream_;
  std::streambuf* original_;
  std::string text_;
  std::string text_with_flushes_;
};

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
