#include "wire/boards/FailingCall.h"

#include <cerrno>

#include "support/SystemsOwn.h"

namespace kvo::boards::testing {

namespace {

FailingCall* g_current = nullptr;

// All of them take what they need of these.
using Call = long(long, long, long, long, long, long);

}  // namespace

FailingCall::FailingCall(std::string name, int error, int result, int times)
    : name_(std::move(name)), error_(error), result_(result), times_(times) {
  g_current = this;
}

FailingCall::~FailingCall() { g_current = nullptr; }

std::pair<bool, int> FailingCall::Take(const char* name) {
  if (g_current == nullptr || g_current->name_ != name || g_current->times_ == 0) {
    return {false, 0};
  }
  --g_current->times_;
  g_current->on_call();
  errno = g_current->error_;
  return {true, g_current->result_};
}

// As in RecordedSystemCalls.cpp, these carry the C library's names in the object file only.
#define KVO_MAY_FAIL(name)                                                            \
  long MayFail_##name(long a, long b, long c, long d, long e, long f) __asm__(#name); \
  long MayFail_##name(long a, long b, long c, long d, long e, long f) {               \
    static Call* const kSystemsOwn = bootloadertms::testing::SystemsOwn<Call>(#name); \
    const auto [fails, result] = FailingCall::Take(#name);                            \
    return fails ? result : kSystemsOwn(a, b, c, d, e, f);                            \
  }

KVO_MAY_FAIL(connect)
KVO_MAY_FAIL(dup2)
KVO_MAY_FAIL(flock)
KVO_MAY_FAIL(fork)
KVO_MAY_FAIL(gai_error)
KVO_MAY_FAIL(getsockopt)
KVO_MAY_FAIL(inotify_init1)
KVO_MAY_FAIL(isatty)
KVO_MAY_FAIL(opendir)
KVO_MAY_FAIL(poll)
KVO_MAY_FAIL(read)
KVO_MAY_FAIL(recv)
KVO_MAY_FAIL(recvmsg)
KVO_MAY_FAIL(send)
KVO_MAY_FAIL(sendmsg)
KVO_MAY_FAIL(setsockopt)
KVO_MAY_FAIL(signalfd)
KVO_MAY_FAIL(socket)
KVO_MAY_FAIL(socketpair)
KVO_MAY_FAIL(sp_get_port_by_name)
KVO_MAY_FAIL(write)

}  // namespace kvo::boards::testing
