#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

#include "client/TransferProgress.h"
#include "support/FakeTime.h"
#include "support/UnaskedPort.h"

namespace kvo::bootloadertms::testing {

using Bytes = std::vector<std::uint8_t>;

// Thrown at the code under test when it does what its script doesn't have next, so that it can't go
// on indefinitely; the test has failed by then.
class ScriptBroken : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

// All that the code under test is to do to the outside world, in order, and what it is answered:
// calls of its port (a `ScriptedSerialPort` plays them), sleeps (which take no time), text and
// flushes on standard output, reports of progress. Anything else, anything in another order, and
// anything left over at the end fails the test.
//
//   Script script;
//   script.FlushInput().Write({0x30}).AnswerByte('A').Sleep(50ms);
//   BootLoader client(std::make_unique<ScriptedSerialPort>(script));
//   EXPECT_EQ(client.PingBootloader(), 9U);
//
// It holds standard output for as long as it lives. Text is compared in one piece between two other
// steps, however many writes or `Print` steps it took.
class Script : private std::streambuf {
 public:
  Script();
  Script(const Script&) = delete;
  Script& operator=(const Script&) = delete;
  ~Script() override;

  // What is to come next, each after the former.
  Script& FlushInput();
  Script& Write(const Bytes& bytes);              // each by a `WriteByte` of its own
  Script& AnswerByte(std::uint8_t answer);        // to a `ReadByte`
  Script& AnswerRead(const std::string& answer);  // to a `Read`, as it is
  Script& Sleep(std::chrono::nanoseconds time);
  Script& SleepInterrupted(std::chrono::nanoseconds asked, std::chrono::nanoseconds slept);
  Script& Print(const std::string& text);
  Script& FlushOutput();
  Script& Progress(bool failed, double fraction);

  // The wall clock moves on by `time` when the former step is done; no step of its own.
  Script& WallClockAdvances(std::chrono::nanoseconds time);

  // From now on the code under test must hold exactly one mutex in each call of its port and in
  // each sleep.
  void RequireOneLock();

  // The same steps `count` times over.
  Script& Times(int count, const std::function<void(Script&)>& steps);

  // A callback whose calls the script expects as `Progress`.
  TransferProgress ProgressCallback();

  // How often a port of this script was closed; closing is no step.
  int CloseCount() const;

 private:
  friend class ScriptedSerialPort;

  enum class Action {
    kFlushInput,
    kWrite,
    kReadByte,
    kRead,
    kSleep,
    kPrint,
    kFlushOutput,
    kProgress,
  };

  // `text` is what is written, answered or printed, or else names the step's values.
  struct Step {
    Action action;
    std::string text;
    std::chrono::nanoseconds slept{};                // of `kSleep`
    std::chrono::nanoseconds wall_clock_advances{};  // after the step
  };

  static std::string Describe(const Step& step);

  Script& Append(Action action, std::string text = "");
  Step Next(const Step& done);
  Step TakeStep();
  void CheckLock(const std::string& where) const;
  void NextByte(std::uint8_t byte);
  bool IsNext(Action action) const;
  void SettlePrintedText();
  [[noreturn]] void Break(const Step& done);

  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* text, std::streamsize length) override;
  int sync() override;

  std::deque<Step> steps_;
  std::size_t bytes_written_ = 0;  // of the `kWrite` step that is next
  std::string printed_;
  bool broken_ = false;
  int close_count_ = 0;
  bool requires_one_lock_ = false;
  FakeTime time_;
  std::streambuf* standard_output_;
};

// A port that plays a `Script`, which it borrows. Its device is "/dev/ttyScript" at 115200 bits per
// second.
class ScriptedSerialPort : public UnaskedPort {
 public:
  explicit ScriptedSerialPort(Script& script);

  std::string GetDevice() override;
  std::uint32_t GetBaudRate() override;
  int Close() override;
  void Read(std::string& data) override;
  void WriteByte(std::uint8_t byte) override;
  std::uint8_t ReadByte() override;
  int FlushInput() override;

 private:
  Script& script_;
};

}  // namespace kvo::bootloadertms::testing
