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
#include <string_view>
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
  for (const Rule& rule : rules_) {
    EXPECT_TRUE(rule.has_come) << "call " << rule.ordinal << " of " << rule.name << " did not come";
  }
}

void RecordedSystemCalls::Note(std::string text) { texts_.push_back(std::move(text)); }

void RecordedSystemCalls::Fail(const std::string& name, std::size_t ordinal, int error,
                               bool lasting) {
  rules_.push_back({name, ordinal, lasting, {.error = error}});
}

void RecordedSystemCalls::ShortenWrite(std::size_t ordinal, std::size_t length) {
  rules_.push_back({"write", ordinal, false, {.longest = length}});
}

RecordedSystemCalls* RecordedSystemCalls::Current() { return current; }

RecordedSystemCalls::Answer RecordedSystemCalls::Take(const std::string& name,
                                                      const std::string& arguments) {
  Note(name + "(" + arguments + ")");
  ++counts_[""];
  ++counts_[name];
  for (Rule& rule : rules_) {
    const std::size_t count = counts_[rule.name];
    if ((rule.name.empty() || rule.name == name) &&
        (count == rule.ordinal || (rule.lasting && count > rule.ordinal))) {
      rule.has_come = true;
      return rule.answer;
    }
  }
  return {};
}

namespace {

using Open = int(const char*, int, ...);
using Close = int(int);
using Write = ssize_t(int, const void*, std::size_t);
using Tcflush = int(int, int);
using Tcgetattr = int(int, termios*);
using Tcsetattr = int(int, int, const termios*);
using Popen = std::FILE*(const char*, const char*);
using Waitpid = pid_t(pid_t, int*, int);

template <typename... Parts>
RecordedSystemCalls::Answer Answered(const char* name, const Parts&... arguments) {
  if (RecordedSystemCalls::Current() == nullptr) {
    return {};
  }
  std::ostringstream text;
  (text << ... << arguments);
  return RecordedSystemCalls::Current()->Take(name, text.str());
}

// Notes the call and tells, with `errno` set, whether it fails.
template <typename... Parts>
bool Fails(const char* name, const Parts&... arguments) {
  const int error = Answered(name, arguments...).error;
  if (error != 0) {
    errno = error;
  }
  return error != 0;
}

int FailOrOpen(const char* path, int flags, mode_t mode) {
  static Open* const kSystemsOwn = SystemsOwn<Open>("open");
  return Fails("open", '"', path, "\", 0x", std::hex, flags) ? -1 : kSystemsOwn(path, flags, mode);
}

}  // namespace

// These carry the C library's names in the object file only, so that neither its declarations nor
// its inline definitions of the same names (with _FORTIFY_SOURCE) are in the way. `open` has a
// second one for flags that the compiler can't see.
int RecordedOpen(const char* path, int flags, ...) __asm__("open");
int RecordedOpenOfTwo(const char* path, int flags) __asm__("__open_2");
int RecordedClose(int descriptor) __asm__("close");
ssize_t RecordedWrite(int descriptor, const void* data, std::size_t length) __asm__("write");
int RecordedTcflush(int descriptor, int queue) __asm__("tcflush");
int RecordedTcgetattr(int descriptor, termios* settings) __asm__("tcgetattr");
int RecordedTcsetattr(int descriptor, int when, const termios* settings) __asm__("tcsetattr");
std::FILE* RecordedPopen(const char* command, const char* mode) __asm__("popen");
pid_t RecordedWaitpid(pid_t id, int* status, int options) __asm__("waitpid");

int RecordedOpen(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  const mode_t mode = creates ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return FailOrOpen(path, flags, mode);
}

int RecordedOpenOfTwo(const char* path, int flags) { return FailOrOpen(path, flags, 0); }

int RecordedClose(int descriptor) {
  static Close* const kSystemsOwn = SystemsOwn<Close>("close");
  return Fails("close", descriptor) ? -1 : kSystemsOwn(descriptor);
}

ssize_t RecordedWrite(int descriptor, const void* data, std::size_t length) {
  static Write* const kSystemsOwn = SystemsOwn<Write>("write");
  const RecordedSystemCalls::Answer answer =
      Answered("write", descriptor, ", \"",
               std::string_view(static_cast<const char*>(data), length), "\", ", length);
  if (answer.error != 0) {
    errno = answer.error;
    return -1;
  }
  return kSystemsOwn(descriptor, data, std::min(length, answer.longest));
}

int RecordedTcflush(int descriptor, int queue) {
  static Tcflush* const kSystemsOwn = SystemsOwn<Tcflush>("tcflush");
  return Fails("tcflush", descriptor, ", ", queue) ? -1 : kSystemsOwn(descriptor, queue);
}

int RecordedTcgetattr(int descriptor, termios* settings) {
  static Tcgetattr* const kSystemsOwn = SystemsOwn<Tcgetattr>("tcgetattr");
  return Fails("tcgetattr", descriptor) ? -1 : kSystemsOwn(descriptor, settings);
}

int RecordedTcsetattr(int descriptor, int when, const termios* settings) {
  static Tcsetattr* const kSystemsOwn = SystemsOwn<Tcsetattr>("tcsetattr");
  return Fails("tcsetattr", descriptor, ", ", when) ? -1 : kSystemsOwn(descriptor, when, settings);
}

std::FILE* RecordedPopen(const char* command, const char* mode) {
  static Popen* const kSystemsOwn = SystemsOwn<Popen>("popen");
  return Fails("popen", '"', command, "\", \"", mode, '"') ? nullptr : kSystemsOwn(command, mode);
}

pid_t RecordedWaitpid(pid_t id, int* status, int options) {
  static Waitpid* const kSystemsOwn = SystemsOwn<Waitpid>("waitpid");
  return Fails("waitpid", id) ? -1 : kSystemsOwn(id, status, options);
}

}  // namespace kvo::bootloadertms::testing
