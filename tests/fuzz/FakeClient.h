#pragma once

#include <string>

#include "client/IBootLoader.h"

namespace kvo::bootloadertms::testing {

// A client without a board, which writes down what is asked of it.
class FakeClient : public IBootLoader {
 public:
  enum class Failure { kNone, kRuntimeError, kSystemError, kLogicError };

  // The call number `failing_call`, from 0, throws; what pings and the calibration return is
  // `value`.
  FakeClient(Failure failure, unsigned failing_call, std::uint8_t value)
      : failure_(failure), failing_call_(failing_call), value_(value) {}

  std::uint32_t PingBootloader() override;
  std::uint32_t PingApplication() override;
  int Calibrate() override;
  void ActivateBootloader() override;
  void ActivateApplication() override;
  std::string SendBootloaderCommand(std::uint32_t command) override;
  std::string SendApplicationCommand(std::uint32_t command) override;
  void UploadImage(const std::string& image_path) override;
  void UploadImageWithInfos(const std::string& image_path, const AppInfos& infos) override;
  void SetVerbose(bool verbose) override;
  void SetTransferCallback(TransferProgress callback) override;
  DeviceInfos ReadBootloaderInfos() override;
  DeviceInfos ReadApplicationInfos() override;
  void RestoreDefaultParameters() override;
  std::string SendCharacter(std::uint8_t character) override;

  // One line a call.
  const std::string& Calls() const { return calls_; }

 private:
  void Note(const std::string& call);

  Failure failure_;
  unsigned failing_call_;
  std::uint8_t value_;
  unsigned count_ = 0;
  std::string calls_;
};

}  // namespace kvo::bootloadertms::testing
