#pragma once

#include <cstddef>
#include <string>

#include "serial/ISerialPort.h"

namespace kvo::bootloadertms::testing {

// The ways in which a port's contract lets its calls go wrong.
enum class Failure {
  kFails,   // writes and `Read` throw EFAULT, `ReadByte` gives 0xFF, `FlushInput` -1
  kSilent,  // nothing arrives: `Read` gives nothing, `ReadByte` 0x00; the other calls go well
  kClosed,  // the port isn't open: as `kFails`, but writes and `ReadByte` throw the text for that
};

// Thrown out of a port to end what would wait for ever. No exception that any code but a test's may
// catch.
struct StillWaiting {};

// What is to go wrong at a port, and what has happened there. The letters of calls are W for
// `WriteByte`, `Write` and `WriteSlowly`, B for `ReadByte`, R for `Read` and F for `FlushInput`.
struct PortTrouble {
  // The `first_call`th call and, if `lasting`, all that follow go wrong in this way; 0: none.
  explicit PortTrouble(std::size_t first_call = 0, Failure failure = Failure::kFails,
                       bool lasting = false);
  PortTrouble(const PortTrouble&) = delete;
  PortTrouble& operator=(const PortTrouble&) = delete;

  Failure failure;
  std::size_t first_call;
  bool lasting;

  // The call behind the `first_call`th by so many throws `StillWaiting`.
  std::size_t patience = 5000;

  std::string calls;    // a letter each
  std::string written;  // by `WriteByte`, in calls that went well or were silent
  int closes = 0;
  int calls_without_lock = 0;  // made while not exactly one mutex was held
};

// Hands every call on to a port and lets some go wrong; those are not handed on, so an answer that
// didn't come is still to come. It borrows both, and allocates nothing.
class FailingPort : public ISerialPort {
 public:
  FailingPort(ISerialPort& port, PortTrouble& trouble);

  std::uint32_t SetDevice(std::string device) override;
  std::string GetDevice() override;
  std::uint32_t SetBaudRate(std::uint32_t rate) override;
  std::uint32_t GetBaudRate() override;
  void SetTimeout(std::int32_t timeout_ms) override;
  int SetOptionFlag(bool flag) override;
  void Open() override;
  int Close() override;
  std::int64_t Write(const std::string& data) override;
  void WriteSlowly(const std::string& data, std::uint32_t delay_ms) override;
  void Read(std::string& data) override;
  void WriteByte(std::uint8_t byte) override;
  std::uint8_t ReadByte() override;
  int FlushInput() override;

 private:
  // Notes the call and tells whether it goes wrong.
  bool GoesWrong(char letter);
  // Throws for a write that goes wrong.
  void StartWrite();

  ISerialPort& port_;
  PortTrouble& trouble_;
};

}  // namespace kvo::bootloadertms::testing
