#pragma once

#include <kvo/bootloadertms/ISerialPort.h>
#include <kvo/bootloadertms/YmodemProtocol.h>
#include <termios.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "boards/Events.h"
#include "boards/ports/PortAddress.h"

namespace kvo::boards {

// A port that can't be opened, or that is gone.
class PortFailure : public std::runtime_error {
 public:
  PortFailure(Reason reason, const std::string& message)
      : std::runtime_error(message), reason_(reason) {}
  Reason GetReason() const { return reason_; }

 private:
  Reason reason_;
};

// What has been borrowed of the system with a port, and how to give it back. Trivially copyable, so
// that another process can do it after a crash.
struct Borrowed {
  int descriptor = -1;
  bool is_terminal = false;
  std::uint32_t baud_rate = 0;  // while it is borrowed
  termios found{};
};

// Gives the port back: sends CAN CAN if the board is in a transfer, waits until they have gone out
// (some tenths of a second at most; what is too long for that is discarded first), puts back the
// line's settings and lets others open the port. The descriptor stays open. A failure, as of a line
// that is gone, doesn't keep it from the rest; then the result is false. May be called from a
// signal handler.
bool GiveBack(const Borrowed& borrowed, bool in_transfer) noexcept;

// What both kinds of port have in common: `ISerialPort` on a descriptor that never blocks.
//
// A packet goes to the system whole: bytes from SOH or STX on are kept until the packet is
// complete, and then written at once. All other bytes go out as they come. `Read` waits for an
// answer's rest: to its line feed, or until nothing has come for 20 ms, or to 255 bytes.
//
// A port that is gone is a `PortFailure` with `Reason::kLost`, from each operation that touches it.
// Other failures of the system are `std::system_error`, with their own value.
class BoardPort : public bootloadertms::ISerialPort {
 public:
  // Throws `std::runtime_error` for a speed that the library doesn't support.
  BoardPort(std::string device, std::uint32_t baud_rate);
  ~BoardPort() override;

  std::uint32_t SetDevice(std::string device) override;
  std::string GetDevice() override;
  std::uint32_t SetBaudRate(std::uint32_t rate) override;  // on a closed port only
  std::uint32_t GetBaudRate() override;
  void SetTimeout(std::int32_t timeout_ms) override;
  int SetOptionFlag(bool flag) override;

  // Throws `PortFailure`, with the reason, when the port can't be had.
  void Open() override;
  // Gives back what `Open` has borrowed.
  int Close() override;

  std::int64_t Write(const std::string& data) override;
  void WriteSlowly(const std::string& data, std::uint32_t delay_ms) override;
  void Read(std::string& data) override;
  void WriteByte(std::uint8_t byte) override;
  std::uint8_t ReadByte() override;
  int FlushInput() override;

  // Its descriptor is -1 while the port is closed. The reference is to the same object always.
  const Borrowed& GetBorrowed() const { return borrowed_; }

  // Whether the last `Close` could give back all that was borrowed.
  bool IsGivenBack() const { return is_given_back_; }

  // Whether the last `ReadByte` has got a byte.
  bool HasRead() const { return has_read_; }

  // Whether bytes of a packet that isn't complete are kept back.
  bool HasKeptBytes() const { return kept_ > 0; }

 protected:
  // Opens, checks and locks. Throws `PortFailure`; then nothing is left open.
  virtual Borrowed OpenDescriptor() = 0;
  // Discards what has arrived. Returns 0, or -1 with `errno`.
  virtual int Discard(int descriptor) = 0;

 private:
  using Clock = std::chrono::steady_clock;
  // Head, number, its complement, and two bytes of checksum.
  static constexpr std::size_t kPacketFrame = 5;

  bool IsOpen() const { return borrowed_.descriptor != -1; }
  void RequireOpen() const;
  // A failure of the port itself: it is gone if `errno` says so.
  [[noreturn]] void ThrowFailure() const;
  [[noreturn]] void ThrowLost(const std::string& cause) const;

  // What arrives within the time; the result is the count of bytes, 0 when nothing has.
  std::size_t Receive(char* into, std::size_t most, std::chrono::milliseconds wait) const;
  // Waits for `events` until then; the result is what has come of them, 0 when nothing has.
  int WaitFor(short events, std::optional<Clock::time_point> until) const;
  void Send(std::string_view bytes) const;
  // Of the packet that the byte heads; any other byte is one by itself.
  static std::size_t PacketSize(std::uint8_t byte);
  void SendKeptBytes();

  std::string device_;
  std::uint32_t baud_rate_;
  std::int32_t timeout_ms_ = -1;
  Borrowed borrowed_;
  bool is_given_back_ = true;
  bool has_read_ = false;
  // The packet that has begun: what is there of it, and the size of the whole. A closed port has
  // none.
  std::array<char, bootloadertms::ymodem::kBlockSize + kPacketFrame> packet_;
  std::size_t kept_ = 0;
  std::size_t packet_size_ = 0;
};

// The port for an address, closed. `answer_timeout` is how long its reads wait; throws what the
// constructor and `SetTimeout` throw.
std::unique_ptr<BoardPort> MakePort(const PortAddress& address, std::uint32_t baud_rate,
                                    std::chrono::milliseconds answer_timeout);

}  // namespace kvo::boards
