#include "simulator/DescriptorLine.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "simulator/Waiting.h"

namespace kvo::boardsimulator {
namespace {

void MakeNonBlocking(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  if (flags < 0 || ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) < 0) {
    throw SystemFailure("cannot make the line non-blocking");
  }
}

bool IsPassing(int error) { return error == EAGAIN || error == EINTR; }

bool IsGone(int error) { return error == EPIPE || error == ECONNRESET; }

}  // namespace

DescriptorLine::DescriptorLine(UniqueDescriptor socket, int stop_descriptor)
    : DescriptorLine(std::move(socket), UniqueDescriptor(), stop_descriptor) {}

DescriptorLine::DescriptorLine(UniqueDescriptor input, UniqueDescriptor output, int stop_descriptor)
    : input_(std::move(input)), output_(std::move(output)), stop_descriptor_(stop_descriptor) {
  MakeNonBlocking(input_.Get());
  if (output_.Get() >= 0) {
    MakeNonBlocking(output_.Get());
  }
}

std::size_t DescriptorLine::Read(std::span<std::uint8_t> into, TimePoint until) {
  while (WaitForEvents(input_.Get(), POLLIN, stop_descriptor_, until) != 0) {
    const ssize_t count = ::read(input_.Get(), into.data(), into.size());
    if (count > 0) {
      return static_cast<std::size_t>(count);
    }
    if (count == 0 || IsGone(errno)) {
      throw ServingEnded(EndReason::kPeerClosed);
    }
    if (!IsPassing(errno)) {
      throw SystemFailure("cannot read from the line");
    }
  }
  return 0;
}

void DescriptorLine::Write(std::span<const std::uint8_t> bytes) {
  const int descriptor = output_.Get() >= 0 ? output_.Get() : input_.Get();
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(count));
      continue;
    }
    if (IsGone(errno)) {
      throw ServingEnded(EndReason::kPeerClosed);
    }
    if (!IsPassing(errno)) {
      throw SystemFailure("cannot write to the line");
    }
    WaitForEvents(descriptor, POLLOUT, stop_descriptor_, kNever);
  }
}

void DescriptorLine::WaitUntil(TimePoint until) {
  if (until > Now()) {
    WaitForEvents(-1, 0, stop_descriptor_, until);
  }
}

}  // namespace kvo::boardsimulator
