#pragma once

#include <string>

namespace kvo::bootloadertms::testing {

// The far end of one TCP connection to this machine, on a port of the system's choice. Everything
// that doesn't happen within a generous time is a `std::runtime_error`.
class TcpPeer {
 public:
  // The port is this object's own from now on; connections to it are refused until `Listen`.
  TcpPeer();
  TcpPeer(const TcpPeer&) = delete;
  TcpPeer& operator=(const TcpPeer&) = delete;
  ~TcpPeer();

  // As in "127.0.0.1:40123".
  const std::string& Address() const;

  void Listen() const;

  // Takes the connection that somebody makes.
  void Accept();

  // The next `count` bytes; fewer when the connection ends before.
  std::string Receive(std::size_t count) const;
  void Send(const std::string& bytes) const;

  // Ends the connection. What has arrived and was not received makes it a reset.
  void HangUp();

 private:
  int listener_;
  int connection_ = -1;
  std::string address_;
};

}  // namespace kvo::bootloadertms::testing
