#include "support/RecordedSystemCalls.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/types.h>
#include <termios.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "support/SystemsOwn.h"

namespace kvo::bootloadertms::testing {

namespace {

RecordedSystemCalls* current = nullptr;

}  // namespace

RecordedSystemCalls::RecordedSystemCalls() {
  if (current != nullptr) {
    throw std::logic_error("a second RecordedSystemCalls");
  }
  current = this;
}

RecordedSystemCalls::~RecordedSystemCalls() {
  current = nullptr;
  for (const auto& [ordinal, answer] : write_answers_) {
    ADD_FAILURE() << "write " << ordinal << " did not come";
  }
}

const std::vector<std::string>& RecordedSystemCalls::Texts() const { return texts_; }

void RecordedSystemCalls::Note(std::string text) { texts_.push_back(std::move(text)); }

void RecordedSystemCalls::FailWrite(std::size_t ordinal, int error) {
  write_answers_[ordinal] = {.error = error};
}

void RecordedSystemCalls::ShortenWrite(std::size_t ordinal, std::size_t length) {
  write_answers_[ordinal] = {.longest = length};
}

RecordedSystemCalls* RecordedSystemCalls::Current() { return current; }

RecordedSystemCalls::WriteAnswer RecordedSystemCalls::NoteWrite(int descriptor,
                                                                std::string_view data) {
  Note("write(" + std::to_string(descriptor) + ", \"" + std::string(data) + "\", " +
       std::to_string(data.size()) + ")");
  const auto scripted = write_answers_.extract(++writes_);
  return scripted.empty() ? WriteAnswer{} : scripted.mapped();
}

namespace {

using Open = int(const char*, int, ...);
using Write = ssize_t(int, const void*, std::size_t);
using Tcflush = int(int, int);
using Tcsetattr = int(int, int, const termios*);
using Popen = std::FILE*(const char*, const char*);

void NoteIfRecording(const char* name, const std::string& arguments) {
  if (RecordedSystemCalls* const record = RecordedSystemCalls::Current()) {
    record->Note(name + ("(" + arguments + ")"));
  }
}

int NoteAndOpen(const char* path, int flags, mode_t mode) {
  static Open* const kSystemsOwn = SystemsOwn<Open>("open");
  std::ostringstream arguments;
  arguments << '"' << path << "\", 0x" << std::hex << flags;
  NoteIfRecording("open", arguments.str());
  return kSystemsOwn(path, flags, mode);
}

}  // namespace

// These carry the C library's names in the object file only, so that neither its declarations nor
// its inline definitions of the same names (with _FORTIFY_SOURCE) are in the way. `open` has four
// of them: for large files, and for flags that the compiler can't see.
int RecordedOpen(const char* path, int flags, ...) __asm__("open");
int RecordedOpen64(const char* path, int flags, ...) __asm__("open64");
int RecordedOpenOfTwo(const char* path, int flags) __asm__("__open_2");
int RecordedOpen64OfTwo(const char* path, int flags) __asm__("__open64_2");
ssize_t RecordedWrite(int descriptor, const void* data, std::size_t length) __asm__("write");
int RecordedTcflush(int descriptor, int queue) __asm__("tcflush");
int RecordedTcsetattr(int descriptor, int when, const termios* settings) __asm__("tcsetattr");
std::FILE* RecordedPopen(const char* command, const char* mode) __asm__("popen");

int RecordedOpen(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  const mode_t mode = creates ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return NoteAndOpen(path, flags, mode);
}

int RecordedOpen64(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  const mode_t mode = creates ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return NoteAndOpen(path, flags, mode);
}

int RecordedOpenOfTwo(const char* path, int flags) { return NoteAndOpen(path, flags, 0); }

int RecordedOpen64OfTwo(const char* path, int flags) { return NoteAndOpen(path, flags, 0); }

ssize_t RecordedWrite(int descriptor, const void* data, std::size_t length) {
  static Write* const kSystemsOwn = SystemsOwn<Write>("write");
  RecordedSystemCalls::WriteAnswer answer;
  if (RecordedSystemCalls* const record = RecordedSystemCalls::Current()) {
    answer = record->NoteWrite(descriptor, {static_cast<const char*>(data), length});
  }
  if (answer.error != 0) {
    errno = answer.error;
    return -1;
  }
  return kSystemsOwn(descriptor, data, std::min(length, answer.longest));
}

int RecordedTcflush(int descriptor, int queue) {
  static Tcflush* const kSystemsOwn = SystemsOwn<Tcflush>("tcflush");
  NoteIfRecording("tcflush", std::to_string(descriptor) + ", " + std::to_string(queue));
  return kSystemsOwn(descriptor, queue);
}

int RecordedTcsetattr(int descriptor, int when, const termios* settings) {
  static Tcsetattr* const kSystemsOwn = SystemsOwn<Tcsetattr>("tcsetattr");
  NoteIfRecording("tcsetattr", std::to_string(descriptor) + ", " + std::to_string(when));
  return kSystemsOwn(descriptor, when, settings);
}

std::FILE* RecordedPopen(const char* command, const char* mode) {
  static Popen* const kSystemsOwn = SystemsOwn<Popen>("popen");
  NoteIfRecording("popen", '"' + std::string(command) + "\", \"" + mode + '"');
  return kSystemsOwn(command, mode);
}

}  // namespace kvo::bootloadertms::testing
