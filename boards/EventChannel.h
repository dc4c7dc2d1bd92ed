#pragma once

#include <optional>
#include <utility>

#include "boards/Events.h"
#include "boards/UniqueDescriptor.h"

namespace kvo::boards {

// The worker's end of the socket between a worker and the supervisor. It borrows the descriptor.
// What the system has no room for is tried again for half a second. Most failures aren't told:
// without a supervisor there is nobody to tell.
class EventSender {
 public:
  explicit EventSender(int socket) : socket_(socket) {}

  // May be called from a signal handler.
  void Send(const Event& event) const noexcept;

  // A message that may be lost when the supervisor is behind; never waits.
  void SendIfPossible(const Event& event) const noexcept;

  // With a descriptor, of which the supervisor gets a duplicate. False when it can't be sent.
  bool SendWithDescriptor(const Event& event, int descriptor) const noexcept;

  // Waits for the supervisor's go. False when the supervisor is gone.
  bool WaitForGo() const noexcept;

 private:
  int socket_;
};

// The supervisor's end, which never blocks.
class EventReceiver {
 public:
  EventReceiver() = default;
  explicit EventReceiver(UniqueDescriptor socket) : socket_(std::move(socket)) {}

  struct Message {
    Event event;
    UniqueDescriptor descriptor;
  };

  // The next message, if there is one that can be had now. What is no valid event is dropped.
  std::optional<Message> Receive();

  // False when a worker that is there can't be told.
  bool SendGo() const noexcept;

  int Descriptor() const { return socket_.Get(); }

 private:
  UniqueDescriptor socket_;
};

// Both ends, the worker's first. Throws `std::system_error`.
std::pair<UniqueDescriptor, UniqueDescriptor> MakeEventChannel();

}  // namespace kvo::boards
