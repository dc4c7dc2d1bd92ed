#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tables/TransferModel.h"
#include "tables/Wire.h"

namespace kvo::bootloadertms::testing {

// How docs/protocol.md says that the client's operations go over the line, apart from the code that
// does it. Each returns the operation's result in words, or throws what it is to throw.
class ClientModel {
 public:
  explicit ClientModel(Wire& wire) : wire_(wire) {}

  std::string PingBootloader();
  std::string PingApplication();
  std::string Calibrate();
  std::string ActivateBootloader();
  std::string ActivateApplication();
  std::string SendBootloaderCommand(std::uint32_t code);
  std::string SendApplicationCommand(std::uint32_t code);
  std::string Upload(TransferModel transfer);
  std::string ReadBootloaderInfos();
  std::string ReadApplicationInfos();
  std::string RestoreDefaultParameters();
  std::string SendCharacter(std::uint8_t character);

  // What stands on standard output when no log is verbose, but for the trace of an upload.
  const std::string& Printed() const { return printed_; }

 private:
  void Sleep(std::chrono::nanoseconds time);
  std::string Exchange(std::uint8_t request, std::chrono::milliseconds wait);
  std::string Ask(std::uint8_t request, std::chrono::milliseconds wait, bool again_for_signature);

  Wire& wire_;
  std::chrono::nanoseconds slept_{};
  std::string printed_;
};

}  // namespace kvo::bootloadertms::testing
