#pragma once

#include <string>
#include <utility>

#include "simulator/UniqueDescriptor.h"
#include "support/SimulatorBytes.h"

namespace kvo::boardsimulator {

// A pair of connected sockets, closed in programs that a test starts.
struct SocketPair {
  SocketPair();
  UniqueDescriptor first;
  UniqueDescriptor second;
};

// The host's end of a board's line.
class HostPort {
 public:
  // Opens the device as a host does, raw.
  static HostPort Open(const std::string& device);
  // Connects to the Unix socket, as an emulated machine does.
  static HostPort Connect(const std::string& socket);
  explicit HostPort(UniqueDescriptor descriptor) : descriptor_(std::move(descriptor)) {}

  void Send(const Bytes& bytes);
  // Waits until `count` bytes have come. Returns fewer only if the line ends, or nothing comes for
  // so long that nothing will.
  Bytes Receive(std::size_t count);
  // The bytes that are there at this moment.
  Bytes ReceiveWhatIsThere();
  void Close() { descriptor_.Close(); }

 private:
  Bytes ReceivePieces(std::size_t count, int timeout_ms);

  UniqueDescriptor descriptor_;
};

}  // namespace kvo::boardsimulator
