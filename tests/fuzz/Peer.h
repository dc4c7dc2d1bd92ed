#pragma once

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

namespace kvo::bootloadertms::testing {

using Milliseconds = std::chrono::milliseconds;

// The other end of a TCP connection, as the system shows it: what it sends and takes, and when.
struct Peer {
  // What comes of an attempt to connect: an `errno`, at once, or EINPROGRESS and then another.
  struct Answer {
    int at_once;
    Milliseconds takes{0};
    int then = 0;
  };
  // Bytes, or without any the end: 0 by a close, else an `errno`.
  struct Arrival {
    Milliseconds at;
    std::string bytes;
    int end = 0;
  };

  // As `connect`, for the next address.
  Answer Connect();

  // What has come until then, as `read`: the count of bytes, 0 at the end, or a negative `errno`.
  int Read(Milliseconds now, std::string& into, std::size_t most);
  bool IsReadable(Milliseconds now) const { return !arrivals.empty() && arrivals[0].at <= now; }

  // As `send`: the count of bytes that were taken, or a negative `errno`.
  int Send(std::string_view bytes);

  std::deque<Answer> answers;
  std::deque<Arrival> arrivals;
  // For each `send`, what becomes of it; when there is none, all is taken at once.
  std::deque<std::uint8_t> rooms;
  std::string received;
};

// While an object lives, sockets that are opened lead to the peer, which it borrows, and waits for
// them take no time. At most one object lives at a time.
class PeerSockets {
 public:
  explicit PeerSockets(Peer& peer);
  PeerSockets(const PeerSockets&) = delete;
  PeerSockets& operator=(const PeerSockets&) = delete;
  ~PeerSockets();

  // So many of the next waits are interrupted halfway, and so many of the next reads are in vain.
  void Disturb(int times);

  // For the functions that stand in for the C library's. They return as `Peer` does.
  static PeerSockets* Of(int descriptor);
  static PeerSockets* Current();
  int Open();
  int Connect();
  int ResultOfConnect() const { return connecting_.then; }
  int Poll(pollfd& awaited, int timeout_ms);
  int ReadAfterWait(char* into, std::size_t most);
  int Read(char* into, std::size_t most);
  int Send(std::string_view bytes) { return peer_.Send(bytes); }

 private:
  int WaitFor(Milliseconds until, Milliseconds wait);

  Peer& peer_;
  int descriptor_ = -1;
  Peer::Answer connecting_{};
  Milliseconds connected_at_{0};
  int interrupted_waits_ = 0;
  int vain_reads_ = 0;
};

// By the clock that is faked.
Milliseconds Now();

}  // namespace kvo::bootloadertms::testing
