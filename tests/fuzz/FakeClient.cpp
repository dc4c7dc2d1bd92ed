#include "fuzz/FakeClient.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace kvo::bootloadertms::testing {

using namespace std::string_literals;

std::uint32_t FakeClient::PingBootloader() {
  Note("PingBootloader");
  return value_;
}

std::uint32_t FakeClient::PingApplication() {
  Note("PingApplication");
  return value_;
}

int FakeClient::Calibrate() {
  Note("Calibrate");
  return value_;
}

void FakeClient::ActivateBootloader() { Note("ActivateBootloader"); }

void FakeClient::ActivateApplication() { Note("ActivateApplication"); }

std::string FakeClient::SendBootloaderCommand(std::uint32_t command) {
  Note("SendBootloaderCommand " + std::to_string(command));
  return "an answer\r\n\0"s;
}

std::string FakeClient::SendApplicationCommand(std::uint32_t command) {
  Note("SendApplicationCommand " + std::to_string(command));
  return "a status";
}

void FakeClient::UploadImage(const std::string& image_path) { Note("UploadImage " + image_path); }

void FakeClient::UploadImageWithInfos(const std::string& image_path, const AppInfos& /*infos*/) {
  Note("UploadImageWithInfos " + image_path);
}

void FakeClient::SetVerbose(bool /*verbose*/) { Note("SetVerbose"); }

void FakeClient::SetTransferCallback(TransferProgress /*callback*/) { Note("SetTransferCallback"); }

DeviceInfos FakeClient::ReadBootloaderInfos() {
  Note("ReadBootloaderInfos");
  return {"s", "h", "", "V", "v", "BL_OK"};
}

DeviceInfos FakeClient::ReadApplicationInfos() {
  Note("ReadApplicationInfos");
  return {"S", "H", "P", "V", "", "status"};
}

void FakeClient::RestoreDefaultParameters() { Note("RestoreDefaultParameters"); }

std::string FakeClient::SendCharacter(std::uint8_t character) {
  Note("SendCharacter " + std::to_string(character));
  return "";
}

void FakeClient::Note(const std::string& call) {
  calls_ += call + '\n';
  if (failure_ == Failure::kNone || count_++ != failing_call_) {
    return;
  }
  if (failure_ == Failure::kLogicError) {
    throw std::logic_error("a fault of the program");
  }
  if (failure_ == Failure::kSystemError) {
    throw std::system_error(EFAULT, std::system_category());
  }
  throw std::runtime_error("the client failed");
}

}  // namespace kvo::bootloadertms::testing
