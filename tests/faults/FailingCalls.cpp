// Stands in for functions of the C library in a program that it is preloaded into, and lets one of
// them fail in one of the program's processes. The variable KVO_FAILING_CALLS tells which:
//
//   PROCESS FUNCTION FIRST LAST ERROR FILE
//
// PROCESS is 0 for the program itself, and N for the Nth that it has forked. Of that process's own
// calls of FUNCTION those from FIRST to LAST, counted from 1, aren't handed on and fail with this
// `errno`; each adds a byte to FILE. `malloc` counts from the first `signalfd` on, as a program
// allocates much before it begins with its work.
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/SystemsOwn.h"

namespace kvo::bootloadertms::testing {

namespace {

// All of them return by the same register and take what they need of these.
using Call = long(long, long, long, long, long, long);

struct Fault {
  int process = -1;
  std::array<char, 32> function{};
  unsigned long first = 0;
  unsigned long last = 0;
  int error = 0;
  std::array<char, 256> file{};
};

Fault ReadFault() {
  Fault fault;
  const char* const text = std::getenv("KVO_FAILING_CALLS");
  if (text == nullptr ||
      std::sscanf(text, "%d %31s %lu %lu %d %255s", &fault.process, fault.function.data(),
                  &fault.first, &fault.last, &fault.error, fault.file.data()) != 6) {
    std::abort();
  }
  return fault;
}

Fault g_fault;
int g_process = 0;
int g_children = 0;
unsigned long g_calls = 0;
bool g_counts_allocations = false;

[[gnu::constructor]] void Begin() { g_fault = ReadFault(); }

// By calls that can't fail here.
void NoteFailure() {
  const long file = ::syscall(SYS_openat, AT_FDCWD, g_fault.file.data(),
                              O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  ::syscall(SYS_write, file, "x", 1);
  ::syscall(SYS_close, file);
}

bool Fails(const char* function) {
  if (g_process != g_fault.process || std::strcmp(function, g_fault.function.data()) != 0) {
    return false;
  }
  ++g_calls;
  if (g_calls < g_fault.first || g_calls > g_fault.last) {
    return false;
  }
  NoteFailure();
  errno = g_fault.error;
  return true;
}

}  // namespace

// As in RecordedSystemCalls.cpp, these carry the C library's names in the object file only.
#define KVO_MAY_FAIL(name)                                                            \
  long MayFail_##name(long a, long b, long c, long d, long e, long f) __asm__(#name); \
  long MayFail_##name(long a, long b, long c, long d, long e, long f) {               \
    static Call* const kSystemsOwn = SystemsOwn<Call>(#name);                         \
    return Fails(#name) ? -1 : kSystemsOwn(a, b, c, d, e, f);                         \
  }

KVO_MAY_FAIL(open)
KVO_MAY_FAIL(close)
KVO_MAY_FAIL(read)
KVO_MAY_FAIL(write)
KVO_MAY_FAIL(poll)
KVO_MAY_FAIL(ioctl)
KVO_MAY_FAIL(isatty)
KVO_MAY_FAIL(tcgetattr)
KVO_MAY_FAIL(tcsetattr)
KVO_MAY_FAIL(tcflush)
KVO_MAY_FAIL(flock)
KVO_MAY_FAIL(fcntl)
KVO_MAY_FAIL(dup2)
KVO_MAY_FAIL(fstat)
KVO_MAY_FAIL(socket)
KVO_MAY_FAIL(connect)
KVO_MAY_FAIL(setsockopt)
KVO_MAY_FAIL(getsockopt)
KVO_MAY_FAIL(socketpair)
KVO_MAY_FAIL(send)
KVO_MAY_FAIL(sendmsg)
KVO_MAY_FAIL(recv)
KVO_MAY_FAIL(recvmsg)
KVO_MAY_FAIL(waitpid)
KVO_MAY_FAIL(inotify_init1)
KVO_MAY_FAIL(inotify_add_watch)

int MayFailSignalfd(int descriptor, const void* signals, int flags) __asm__("signalfd");
int MayFailSignalfd(int descriptor, const void* signals, int flags) {
  g_counts_allocations = true;
  static auto* const kSystemsOwn = SystemsOwn<int(int, const void*, int)>("signalfd");
  return Fails("signalfd") ? -1 : kSystemsOwn(descriptor, signals, flags);
}

pid_t MayFailFork() __asm__("fork");
pid_t MayFailFork() {
  static auto* const kSystemsOwn = SystemsOwn<pid_t()>("fork");
  const pid_t child = Fails("fork") ? -1 : kSystemsOwn();
  if (child >= 0) {
    ++g_children;
  }
  if (child == 0) {
    g_process = g_children;
    g_calls = 0;
  }
  return child;
}

void* SystemsMalloc(std::size_t size) __asm__("__libc_malloc");
void* MayFailMalloc(std::size_t size) __asm__("malloc");
void* MayFailMalloc(std::size_t size) {
  return g_counts_allocations && Fails("malloc") ? nullptr : SystemsMalloc(size);
}

}  // namespace kvo::bootloadertms::testing
