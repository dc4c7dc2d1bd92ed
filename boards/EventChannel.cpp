#include "boards/EventChannel.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <system_error>

namespace kvo::boards {

namespace {

constexpr char kGo = 'g';

// Room for one descriptor beside a message.
union Attachment {
  cmsghdr header;  // for its alignment
  char bytes[CMSG_SPACE(sizeof(int))];
};

bool IsPeerGone() { return errno == EPIPE || errno == ECONNRESET; }

// Tries a call again for a moment that the system has no room for, as long as there is a peer.
template <typename Call>
ssize_t Persistently(const Call& call, int tries) {
  constexpr timespec kMoment{.tv_sec = 0, .tv_nsec = 5'000'000};
  ssize_t result = call();
  for (; result == -1 && !IsPeerGone() && tries > 1; --tries) {
    ::nanosleep(&kMoment, nullptr);
    result = call();
  }
  return result;
}

constexpr int kTriesOfAWorker = 100;
constexpr int kTriesOfTheSupervisor = 3;

UniqueDescriptor DescriptorOf(msghdr& message) {
  const cmsghdr* header = CMSG_FIRSTHDR(&message);
  if (header == nullptr || header->cmsg_type != SCM_RIGHTS) {
    return {};
  }
  int descriptor = -1;
  std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
  return UniqueDescriptor(descriptor);
}

}  // namespace

void EventSender::Send(const Event& event) const noexcept {
  Persistently([&] { return ::send(socket_, &event, sizeof event, MSG_NOSIGNAL); },
               kTriesOfAWorker);
}

void EventSender::SendIfPossible(const Event& event) const noexcept {
  ::send(socket_, &event, sizeof event, MSG_NOSIGNAL | MSG_DONTWAIT);
}

bool EventSender::SendWithDescriptor(const Event& event, int descriptor) const noexcept {
  Event copy = event;
  iovec piece{.iov_base = &copy, .iov_len = sizeof copy};
  Attachment attachment{};
  msghdr message{};
  message.msg_iov = &piece;
  message.msg_iovlen = 1;
  message.msg_control = attachment.bytes;
  message.msg_controllen = sizeof attachment.bytes;
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof descriptor);
  std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  return Persistently([&] { return ::sendmsg(socket_, &message, MSG_NOSIGNAL); },
                      kTriesOfAWorker) != -1;
}

bool EventSender::WaitForGo() const noexcept {
  char byte = 0;
  const ssize_t count = Persistently([&] { return ::recv(socket_, &byte, 1, 0); }, kTriesOfAWorker);
  return count == 1 && byte == kGo;
}

std::optional<EventReceiver::Message> EventReceiver::Receive() {
  for (int tries = 0; socket_.Get() != -1;) {
    Message received;
    iovec piece{.iov_base = &received.event, .iov_len = sizeof received.event};
    Attachment attachment{};
    msghdr message{};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = attachment.bytes;
    // Deliberate: less than the whole attachment, whose padding has room for a second descriptor
    // that nobody would close.
    message.msg_controllen = CMSG_LEN(sizeof(int));
    const ssize_t count = ::recvmsg(socket_.Get(), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    // A reset is told once, when the worker has ended before it read its go; what it sent is there.
    const bool is_told_once = count == -1 && (errno == EINTR || errno == ECONNRESET);
    if (is_told_once && ++tries < kTriesOfTheSupervisor) {
      continue;
    }
    if (count == -1) {
      break;  // nothing is there, or it can't be had now
    }
    if (count == 0) {
      socket_.Close();
      break;
    }
    received.descriptor = DescriptorOf(message);
    if (count == sizeof received.event && (message.msg_flags & MSG_TRUNC) == 0 &&
        received.event.IsValid()) {
      return received;
    }
  }
  return std::nullopt;
}

bool EventReceiver::SendGo() const noexcept {
  const auto send = [this] { return ::send(socket_.Get(), &kGo, 1, MSG_NOSIGNAL | MSG_DONTWAIT); };
  return Persistently(send, kTriesOfTheSupervisor) != -1 || IsPeerGone();
}

std::pair<UniqueDescriptor, UniqueDescriptor> MakeEventChannel() {
  int ends[2];
  // Messages keep their borders, and the end of one side shows at the other.
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == -1) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  return {UniqueDescriptor(ends[0]), UniqueDescriptor(ends[1])};
}

}  // namespace kvo::boards
