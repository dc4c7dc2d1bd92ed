#include "support/Output.h"

namespace kvo::bootloadertms::testing {

CapturedStream::CapturedStream(std::ostream& stream)
    : stream_(stream), original_(stream.rdbuf(this)) {}

CapturedStream::~CapturedStream() { stream_.rdbuf(original_); }

const std::string& CapturedStream::Text() const { return text_; }

const std::string& CapturedStream::TextWithFlushes() const { return text_with_flushes_; }

CapturedStream::int_type CapturedStream::overflow(int_type character) {
  const char written = traits_type::to_char_type(character);
  xsputn(&written, 1);
  return character;
}

std::streamsize CapturedStream::xsputn(const char* text, std::streamsize length) {
  text_.append(text, static_cast<std::size_t>(length));
  text_with_flushes_.append(text, static_cast<std::size_t>(length));
  return length;
}

int CapturedStream::sync() {
  text_with_flushes_ += "<flush>";
  return 0;
}

}  // namespace kvo::bootloadertms::testing
