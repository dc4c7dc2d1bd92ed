#include <cstdint>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include <kvo/bootloadertms/AppInfos.h>
#include <kvo/bootloadertms/BootLoader.h>
#include <kvo/bootloadertms/ISerialPort.h>
#include <kvo/bootloadertms/SerialPortLinux.h>

namespace {

using kvo::bootloadertms::AppInfos;
using kvo::bootloadertms::BootLoader;
using kvo::bootloadertms::ISerialPort;
using kvo::bootloadertms::SerialPortLinux;

// A transport of its own, with a bootloader behind it that answers each byte by the next one of a
// text.
class AnsweringPort : public ISerialPort {
 public:
  explicit AnsweringPort(std::string answers) : answers_(std::move(answers)) {}

  std::uint32_t SetDevice(std::string) override { return 0; }
  std::string GetDevice() override { return "answers"; }
  std::uint32_t SetBaudRate(std::uint32_t) override { return 0; }
  std::uint32_t GetBaudRate() override { return 115200; }
  void SetTimeout(std::int32_t) override {}
  int SetOptionFlag(bool) override { return 0; }
  void Open() override {}
  int Close() override { return 0; }
  std::int64_t Write(const std::string& data) override {
    return static_cast<std::int64_t>(data.size());
  }
  void WriteSlowly(const std::string&, std::uint32_t) override {}
  void Read(std::string& text) override { text.clear(); }
  void WriteByte(std::uint8_t) override {}
  std::uint8_t ReadByte() override {
    return next_ < answers_.size() ? static_cast<std::uint8_t>(answers_[next_++]) : 0;
  }
  int FlushInput() override { return 0; }

 private:
  std::string answers_;
  std::size_t next_ = 0;
};

bool PingIsAnswered() {
  BootLoader client(std::make_unique<AnsweringPort>("?A"));
  return client.PingBootloader() == 8;
}

bool UploadEndsWell(const std::string& image) {
  std::ofstream(image) << "image";
  BootLoader client(
      std::make_unique<AnsweringPort>("C\x06"
                                      "C\x06\x06"
                                      "C\x06"
                                      "O"));
  double last = -1;
  client.SetTransferCallback(
      [&last](bool failed, double fraction) { last = failed ? -2 : fraction; });
  client.UploadImageWithInfos(image, AppInfos("A", "B", "C"));
  return last == 1.0;
}

bool SpeedIsRefused() {
  try {
    const SerialPortLinux port("/dev/null", 4800);
    return false;
  } catch (const std::runtime_error& error) {
    return std::string(error.what()) == "Baud rate not supported : 4800";
  }
}

}  // namespace

// consumer IMAGE: writes an image there and uploads it.
int main(int argc, char** argv) {
  const bool good = argc == 2 && PingIsAnswered() && UploadEndsWell(argv[1]) && SpeedIsRefused();
  std::cout << (good ? "\nThe library works\n" : "\nThe library doesn't work\n");
  return good ? 0 : 1;
}
