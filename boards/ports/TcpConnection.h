#pragma once

#include "boards/ports/BoardPort.h"
#include "boards/ports/PortAddress.h"

namespace kvo::boards {

// A raw TCP connection to a serial server. The line's speed and settings are the server's matter.
class TcpConnection : public BoardPort {
 public:
  TcpConnection(PortAddress address, std::uint32_t baud_rate);

  // Looks up the new address; throws what `ParsePort` throws.
  std::uint32_t SetDevice(std::string device) override;

 protected:
  // Tries each address, five seconds in all.
  Borrowed OpenDescriptor() override;
  int Discard(int descriptor) override;

 private:
  PortAddress address_;
};

}  // namespace kvo::boards
