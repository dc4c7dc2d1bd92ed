#include "faults/FailingSystemCalls.h"

#include <fcntl.h>
#include <termios.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <stdexcept>

#include "support/SystemsOwn.h"

namespace kvo::bootloadertms::testing {

namespace {

FailingSystemCalls* current = nullptr;

}  // namespace

FailingSystemCalls::FailingSystemCalls(std::size_t first, bool lasting)
    : first_(first), lasting_(lasting) {
  if (current != nullptr) {
    throw std::logic_error("a second FailingSystemCalls");
  }
  names_.reserve(1024);  // so that noting a call is no allocation
  current = this;
}

FailingSystemCalls::~FailingSystemCalls() { current = nullptr; }

const std::string& FailingSystemCalls::Names() const { return names_; }

bool FailingSystemCalls::Fails(const char* name) {
  if (current == nullptr) {
    return false;
  }
  current->names_.append(name).append(" ");
  const std::size_t call = ++current->count_;
  const std::size_t first = current->first_;
  const bool fails = first != 0 && (current->lasting_ ? call >= first : call == first);
  if (fails) {
    errno = EIO;
  }
  return fails;
}

namespace {

using Popen = std::FILE*(const char*, const char*);
using Open = int(const char*, int, ...);
using Close = int(int);
using Tcgetattr = int(int, termios*);
using Tcsetattr = int(int, int, const termios*);
using Tcflush = int(int, int);

int FailOrOpen(const char* path, int flags, mode_t mode) {
  static Open* const kSystemsOwn = SystemsOwn<Open>("open");
  return FailingSystemCalls::Fails("open") ? -1 : kSystemsOwn(path, flags, mode);
}

}  // namespace

// These carry the C library's names in the object file only, so that neither its declarations nor
// its inline definitions of the same names (with _FORTIFY_SOURCE) are in the way.
std::FILE* FailingPopen(const char* command, const char* mode) __asm__("popen");
int FailingOpen(const char* path, int flags, ...) __asm__("open");
int FailingOpenOfTwo(const char* path, int flags) __asm__("__open_2");
int FailingClose(int descriptor) __asm__("close");
int FailingTcgetattr(int descriptor, termios* settings) __asm__("tcgetattr");
int FailingTcsetattr(int descriptor, int when, const termios* settings) __asm__("tcsetattr");
int FailingTcflush(int descriptor, int queue) __asm__("tcflush");

std::FILE* FailingPopen(const char* command, const char* mode) {
  static Popen* const kSystemsOwn = SystemsOwn<Popen>("popen");
  return FailingSystemCalls::Fails("popen") ? nullptr : kSystemsOwn(command, mode);
}

int FailingOpen(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  const mode_t mode = creates ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return FailOrOpen(path, flags, mode);
}

int FailingOpenOfTwo(const char* path, int flags) { return FailOrOpen(path, flags, 0); }

int FailingClose(int descriptor) {
  static Close* const kSystemsOwn = SystemsOwn<Close>("close");
  return FailingSystemCalls::Fails("close") ? -1 : kSystemsOwn(descriptor);
}

int FailingTcgetattr(int descriptor, termios* settings) {
  static Tcgetattr* const kSystemsOwn = SystemsOwn<Tcgetattr>("tcgetattr");
  return FailingSystemCalls::Fails("tcgetattr") ? -1 : kSystemsOwn(descriptor, settings);
}

int FailingTcsetattr(int descriptor, int when, const termios* settings) {
  static Tcsetattr* const kSystemsOwn = SystemsOwn<Tcsetattr>("tcsetattr");
  return FailingSystemCalls::Fails("tcsetattr") ? -1 : kSystemsOwn(descriptor, when, settings);
}

int FailingTcflush(int descriptor, int queue) {
  static Tcflush* const kSystemsOwn = SystemsOwn<Tcflush>("tcflush");
  return FailingSystemCalls::Fails("tcflush") ? -1 : kSystemsOwn(descriptor, queue);
}

}  // namespace kvo::bootloadertms::testing
