// A TCP connection to a peer that sends and takes anything at any time, against what BoardPort.h
// says of it.
//
// Input: the time-out of reads in tens of milliseconds; how many addresses there are (modulo 4),
// and for each the number of its answer (`AnswerOf`) and after how many hundredths of a second;
// then what is done, by the numbers in `Conversation::Next`.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "boards/ports/TcpConnection.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Peer.h"
#include "support/FakeTime.h"

namespace {

using namespace kvo::boards;
using namespace kvo::bootloadertms::testing;
using namespace std::chrono_literals;
using namespace std::string_literals;

// What came of an operation: its result, or its failure with type and text.
template <typename Operation>
std::string ResultOf(const Operation& operation) {
  try {
    return operation();
  } catch (const PortFailure& failure) {
    return std::string(NameOf(failure.GetReason())) + ": " + failure.what();
  } catch (const std::system_error& error) {
    return "error " + std::to_string(error.code().value());
  }
}

// A connection on a copy of its peer, as it is described.
class Model {
 public:
  Model(Peer peer, Milliseconds timeout) : peer_(std::move(peer)), timeout_(timeout) {}

  Peer& ItsPeer() { return peer_; }
  bool IsOpen() const { return is_open_; }

  std::string Open(Milliseconds now, int addresses) {
    const Milliseconds end = now + 5s;
    std::string cause = "the host is unknown";
    for (int untried = addresses; untried > 0; --untried) {
      const Peer::Answer answer = peer_.Connect();
      int error = answer.at_once;
      if (error == EINPROGRESS || error == EINTR) {
        // An address that never answers leaves its share of time to the others.
        const Milliseconds share =
            std::chrono::ceil<Milliseconds>(std::chrono::nanoseconds(end - now) / untried);
        error = answer.takes <= share ? answer.then : ETIMEDOUT;
        now += std::min(answer.takes, share);
      }
      if (error == 0) {
        is_open_ = true;
        return "open";
      }
      cause = error == ETIMEDOUT ? "no answer" : std::strerror(error);
    }
    return "unreachable: no connection: " + cause;
  }

  std::string ReadByte(Milliseconds now) {
    SendKept();
    std::string byte;
    Receive(now, byte, 1, timeout_);
    return byte.empty() ? "nothing" : "byte " + byte;
  }

  // An answer's rest: to its line feed, or until nothing has come for 20 ms, or to 255 bytes.
  std::string Read(Milliseconds now) {
    SendKept();
    std::string text;
    Milliseconds wait = timeout_;
    std::string piece;
    while (Receive(now, piece, 255 - text.size(), wait)) {
      text += piece;
      wait = 20ms;
      if (piece.find('\n') != std::string::npos || text.size() == 255) {
        break;
      }
    }
    return text.empty() ? text : text + '\0';
  }

  std::string Flush(Milliseconds now) {
    SendKept();
    std::string discarded;
    int count = 0;
    do {
      count = peer_.Read(now, discarded, 4096);
    } while (count > 0);
    if (count == 0 || MeansGone(-count)) {
      return Lost(count == 0 ? ECONNRESET : -count);
    }
    return count == -EAGAIN ? "0" : "-1";
  }

  std::string Write(const std::string& text) {
    SendKept();
    Send(text);
    return std::to_string(text.size());
  }

  std::string WriteSlowly(const std::string& text) {
    SendKept();
    for (const char byte : text) {
      Send({byte});
    }
    return "written";
  }

  // A packet goes out whole, all other bytes as they come.
  std::string WriteBytes(const std::string& text) {
    for (const char byte : text) {
      kept_ += byte;
      const std::size_t whole = kept_[0] == '\x01' ? 133 : kept_[0] == '\x02' ? 1029 : 1;
      if (kept_.size() == whole) {
        SendKept();
      }
    }
    return "written";
  }

  // What is kept is sent once, whatever comes of it.
  void Close() {
    if (!kept_.empty()) {
      peer_.Send(kept_);
    }
  }

  void GiveBackInTransfer() { peer_.Send("\x18\x18"); }

 private:
  static bool MeansGone(int error) {
    return error == ECONNRESET || error == EPIPE || error == ETIMEDOUT || error == EHOSTUNREACH;
  }
  static std::string Lost(int error) {
    return "lost: the connection is lost: "s + std::strerror(error);
  }
  [[noreturn]] static void Fail(int error) {
    if (MeansGone(error)) {
      throw PortFailure(Reason::kLost, "the connection is lost: "s + std::strerror(error));
    }
    throw std::system_error(error, std::system_category());
  }

  bool Receive(Milliseconds& now, std::string& into, std::size_t most, Milliseconds wait) {
    if (peer_.arrivals.empty() || peer_.arrivals[0].at > now + wait) {
      now += wait;
      return false;
    }
    now = std::max(now, peer_.arrivals[0].at);
    const int count = peer_.Read(now, into, most);
    if (count == 0) {
      throw PortFailure(Reason::kLost, "the connection is lost: the other end hung up");
    }
    if (count < 0) {
      Fail(-count);
    }
    return true;
  }

  void Send(std::string bytes) {
    while (!bytes.empty()) {
      const int count = peer_.Send(bytes);
      if (count >= 0) {
        bytes.erase(0, static_cast<std::size_t>(count));
      } else if (count != -EAGAIN && count != -EINTR) {
        Fail(-count);
      }
    }
  }

  // Nothing goes out twice.
  void SendKept() { Send(std::exchange(kept_, "")); }

  Peer peer_;
  Milliseconds timeout_;
  bool is_open_ = false;
  std::string kept_;
};

Peer::Answer AnswerOf(std::uint8_t number, Milliseconds takes) {
  const std::array<Peer::Answer, 8> answers = {{{0},
                                                {EINPROGRESS, takes, 0},
                                                {EINPROGRESS, takes, ECONNREFUSED},
                                                {ECONNREFUSED},
                                                {EINTR, takes, 0},
                                                {EINPROGRESS, takes, ETIMEDOUT},
                                                {ENETUNREACH},
                                                {EINPROGRESS, takes, EHOSTUNREACH}}};
  return answers.at(number % answers.size());
}

class Conversation {
 public:
  explicit Conversation(FuzzInput& input)
      : input_(input),
        timeout_(input.TakeByte() * 10ms),
        addresses_(input.TakeByte() % 4),
        peer_(PeerOf(input, addresses_)),
        sockets_(peer_),
        port_(MakePort(AddressOf(addresses_), 115200, timeout_)),
        model_(peer_, timeout_) {}

  void Run() {
    const Milliseconds begin = Now();
    const std::string result = ResultOf([this] { return port_->Open(), "open"s; });
    Check(result, [this, begin] { return model_.Open(begin, addresses_); });
    if (!model_.IsOpen()) {
      return;
    }
    try {
      while (Next()) {
      }
    } catch (const EndOfRun&) {
      port_->Close();
      model_.Close();
      Check("", [] { return ""s; });
    }
  }

 private:
  static Peer PeerOf(FuzzInput& input, int addresses) {
    Peer peer;
    for (int i = 0; i < addresses; ++i) {
      const std::uint8_t number = input.TakeByte();
      peer.answers.push_back(AnswerOf(number, input.TakeByte() * 10ms));
    }
    return peer;
  }

  static PortAddress AddressOf(int addresses) {
    PortAddress address = ParsePort("tcp:host:4000");
    address.addresses.resize(static_cast<std::size_t>(addresses));
    return address;
  }

  // False when there is nothing more to be done.
  bool Next() {
    const std::uint8_t choice = input_.TakeByte();
    const Milliseconds now = Now();
    switch (choice % 16) {
      case 0:
        Check(ResultOf([this] { return ReadByte(); }), [&] { return model_.ReadByte(now); });
        return true;
      case 1:
        Check(ResultOf([this] { return Read(); }), [&] { return model_.Read(now); });
        return true;
      case 2:
        Check(ResultOf([this] { return std::to_string(port_->FlushInput()); }),
              [&] { return model_.Flush(now); });
        return true;
      case 3:
        return Write(input_.TakeCountedText());
      case 4:
        return WriteBytes("\x01" + std::string(input_.TakeByte(), '\x55'));
      case 5:
        return WriteBytes("\x02" + std::string(input_.TakeByte() * 5U, '\x55'));
      case 6:
        return WriteBytes(input_.TakeCountedText());
      case 7:
        return WriteSlowly(input_.TakeByte() * 1ms);
      case 8:
        return Arrive(input_.TakeByte() * 1ms);
      case 9:
        latest_ = std::max(latest_, Now());
        return Arrive({latest_, "", ErrorOf(input_.TakeByte())});
      case 10:
        return GiveRoom(input_.TakeCountedText());
      case 11:
        sockets_.Disturb(input_.TakeByte() % 16);
        return true;
      case 12:
        GiveBack(port_->GetBorrowed(), true);
        model_.GiveBackInTransfer();
        Check("", [] { return ""s; });
        return false;
      default:
        FakeTime::Current()->Sleep(choice * 1ms);
        return true;
    }
  }

  static int ErrorOf(std::uint8_t number) {
    return std::array{0, ECONNRESET, ETIMEDOUT, EHOSTUNREACH, ENOMEM}.at(number % 5U);
  }

  std::string ReadByte() {
    const auto byte = static_cast<char>(port_->ReadByte());
    Require(port_->HasRead() || byte == '\0', "nothing is a zero");
    return port_->HasRead() ? "byte "s + byte : "nothing";
  }

  std::string Read() {
    std::string text = "of the last read";
    port_->Read(text);
    return text;
  }

  bool Write(const std::string& text) {
    Check(ResultOf([&] { return std::to_string(port_->Write(text)); }),
          [&] { return model_.Write(text); });
    return true;
  }

  bool WriteBytes(const std::string& text) {
    const std::string result = ResultOf([&] {
      for (const char byte : text) {
        port_->WriteByte(static_cast<std::uint8_t>(byte));
      }
      return "written"s;
    });
    Check(result, [&] { return model_.WriteBytes(text); });
    return true;
  }

  bool WriteSlowly(Milliseconds delay) {
    const std::string text = input_.TakeCountedText();
    const Milliseconds begin = Now();
    const std::string result = ResultOf([&] {
      port_->WriteSlowly(text, static_cast<std::uint32_t>(delay.count()));
      Require(Now() - begin == delay * text.size(), "a pause follows each byte");
      return "written"s;
    });
    Check(result, [&] { return model_.WriteSlowly(text); });
    return true;
  }

  // For both, after all that is on its way, unless that is its end.
  bool Arrive(Milliseconds delay) {
    latest_ = std::max(latest_, Now()) + delay;
    const std::string bytes = input_.TakeCountedText();
    return bytes.empty() || Arrive({latest_, bytes});
  }
  bool Arrive(const Peer::Arrival& arrival) {
    for (Peer* peer : {&peer_, &model_.ItsPeer()}) {
      if (peer->arrivals.empty() || !peer->arrivals.back().bytes.empty()) {
        peer->arrivals.push_back(arrival);
      }
    }
    return true;
  }

  bool GiveRoom(const std::string& rooms) {
    for (Peer* peer : {&peer_, &model_.ItsPeer()}) {
      peer->rooms.assign(rooms.begin(), rooms.end());
    }
    return true;
  }

  template <typename Expected>
  void Check(const std::string& result, const Expected& expected) {
    Require(result == ResultOf(expected), "the result is the model's");
    Require(peer_.received == model_.ItsPeer().received, "what is sent is the model's");
  }

  FuzzInput& input_;
  Milliseconds timeout_;
  int addresses_;
  Peer peer_;
  PeerSockets sockets_;
  std::unique_ptr<BoardPort> port_;
  Model model_;
  Milliseconds latest_{0};
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const RunLimit limit;
  FuzzInput input(data, size);
  const int next_descriptor = ::fcntl(0, F_DUPFD, 3);
  ::close(next_descriptor);
  try {
    const FakeTime time([](auto asked) { return asked; });
    Conversation(input).Run();
  } catch (const EndOfRun&) {
    return 0;  // nothing to check
  }
  const int next_afterwards = ::fcntl(0, F_DUPFD, 3);
  ::close(next_afterwards);
  Require(next_afterwards == next_descriptor, "no descriptor is left open");
  return 0;
}
