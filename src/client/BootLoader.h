#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "IBootLoader.h"

namespace kvo::bootloadertms {

class ISerialPort;  // ISerialPort.h, for those who hand over a port of their own
struct Question;

// The board at one serial port, which the object owns and holds open for its whole life. Every
// operation that touches the port holds the object's mutex from its first to its last access,
// sleeps included.
//
// Progress is told through the process-wide log, so it shows only after `SetVerbose(true)`.
// `IBootLoader` tells each operation's result and failures; a mutex that can't be locked is the
// `std::system_error` of `std::mutex`.
//
// The bodies of the uploads are in transfer/BootLoaderUpload.cpp, as nothing in client/ includes
// it.
class BootLoader : public IBootLoader {
 public:
  // Warns on standard error when the port seems to be in use, and goes on all the same. Then opens
  // `device` at `baud_rate` (bits per second) with a read time-out of 100 ms. Throws what
  // `IsPortInUse` and `SerialPortLinux` throw; no object exists then and the port is closed.
  BootLoader(const std::string& device, std::uint32_t baud_rate);

  // Takes over a port of any kind that is open and has its read time-out set; it is used as it is.
  // Throws `std::runtime_error` "No serial port given. Exiting" for an empty pointer.
  explicit BootLoader(std::unique_ptr<ISerialPort> port);

  // Closes the port. A close that fails ends the program.
  ~BootLoader() override;

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

  // Runs a command line through the shell, waits for it, and returns what it wrote to standard
  // output; its exit status is ignored. Throws `std::runtime_error` "popen() failed!" when the
  // shell can't be started.
  static std::string RunCommand(const std::string& command);

  // Whether some process has `device` open (asked of `lsof`), or a `minicom` runs on any device
  // (asked of `ps`). A missing tool counts as "not busy". Fails as `RunCommand` does.
  static bool IsPortInUse(const std::string& device);

 private:
  // The one place where the mutex is taken: runs all of an operation under it.
  template <typename Operation>
  auto Locked(const Operation& operation) {
    const std::lock_guard lock(mutex_);
    return operation();
  }

  // None of these locks; locked operations call them.
  std::uint32_t RunBootloaderPing();
  std::uint8_t RunApplicationPing();
  bool FollowCalibration(std::chrono::system_clock::time_point start);
  // Writes the request, waits, reads once, logs; again while the answer says "not now".
  std::string Ask(const Question& question);
  std::string AskForAValidAnswer(const Question& question, const char* failure);

  std::unique_ptr<ISerialPort> port_;
  std::mutex mutex_;
  TransferProgress transfer_callback_;
};

}  // namespace kvo::bootloadertms
