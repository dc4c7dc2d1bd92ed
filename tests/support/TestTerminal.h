#pragma once

#include <termios.h>

#include <chrono>
#include <string>

namespace kvo::bootloadertms::testing {

// A pseudo-terminal whose far end the test plays. It never holds the near end open, as that would
// make the port look as if somebody used it.
class TestTerminal {
 public:
  TestTerminal();
  TestTerminal(const TestTerminal&) = delete;
  TestTerminal& operator=(const TestTerminal&) = delete;
  ~TestTerminal();

  // Of the near end.
  const std::string& Path() const;

  // The line's settings, as the near end has them.
  termios Settings() const;
  void SetSettings(const termios& settings) const;

  void Send(const std::string& bytes) const;
  // As many of them as there is room for.
  void Pour(const std::string& bytes) const;

  // Waits until the near end has read all that was sent to it. Somebody must have it open.
  void WaitUntilRead() const;

  // Waits until `count` bytes have come from the near end and returns them; what is there, if
  // that is fewer, after `limit`.
  std::string Receive(std::size_t count,
                      std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

  // Closes the far end, as if the adapter were unplugged.
  void HangUp();

 private:
  std::string ReceivePiece(std::size_t most) const;

  int far_end_;
  std::string path_;
};

}  // namespace kvo::bootloadertms::testing
