#include "faults/Operations.h"

#include <cerrno>
#include <new>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <typeinfo>

#include "faults/FailingPort.h"

namespace kvo::bootloadertms::testing {

namespace {

// Made before any run, so that it is no allocation of one. Its three texts don't fit into a
// string's own room.
const AppInfos kInfos("the first text of a record", "the second text of a record",
                      "the third text of a record");

void Append(std::string& result, const DeviceInfos& infos) {
  for (const std::string* field :
       {&infos.GetAnswerS(), &infos.GetAnswerH(), &infos.GetAnswerP(), &infos.GetAnswerUpperV(),
        &infos.GetAnswerV(), &infos.GetBootStatus()}) {
    result.append(*field).append("/");
  }
}

void Ping(BootLoader& client, const std::string& /*image*/, std::string& result) {
  result += std::to_string(client.PingBootloader());
}

void PingApplication(BootLoader& client, const std::string& /*image*/, std::string& result) {
  result += std::to_string(client.PingApplication());
}

void Calibrate(BootLoader& client, const std::string& /*image*/, std::string& result) {
  result += std::to_string(client.Calibrate());
}

void ActivateBootloader(BootLoader& client, const std::string& /*image*/, std::string& /*result*/) {
  client.ActivateBootloader();
}

void ActivateApplication(BootLoader& client, const std::string& /*image*/,
                         std::string& /*result*/) {
  client.ActivateApplication();
}

void SendBootloaderCommand(BootLoader& client, const std::string& /*image*/, std::string& result) {
  result += client.SendBootloaderCommand(0x37);
}

void SendApplicationCommand(BootLoader& client, const std::string& /*image*/, std::string& result) {
  result += client.SendApplicationCommand(0x62);
}

void Upload(BootLoader& client, const std::string& image, std::string& /*result*/) {
  client.UploadImage(image);
}

void UploadWithInfos(BootLoader& client, const std::string& image, std::string& /*result*/) {
  client.UploadImageWithInfos(image, kInfos);
}

void SetVerbose(BootLoader& client, const std::string& /*image*/, std::string& /*result*/) {
  client.SetVerbose(true);
}

void SetCallback(BootLoader& client, const std::string& /*image*/, std::string& /*result*/) {
  client.SetTransferCallback([](bool /*failed*/, double /*fraction*/) {});
}

void ReadBootloaderInfos(BootLoader& client, const std::string& /*image*/, std::string& result) {
  Append(result, client.ReadBootloaderInfos());
}

void ReadApplicationInfos(BootLoader& client, const std::string& /*image*/, std::string& result) {
  Append(result, client.ReadApplicationInfos());
}

void Restore(BootLoader& client, const std::string& /*image*/, std::string& /*result*/) {
  client.RestoreDefaultParameters();
}

void SendCharacter(BootLoader& client, const std::string& /*image*/, std::string& result) {
  result += client.SendCharacter('h');
}

constexpr auto kNoBlocks = "W B 133W 2B W 2B 133W 2B";
constexpr auto kOneBlock = "W B 133W 2B 1029W B W 2B 133W 2B";
constexpr auto kThreeBlocks = "W B 133W 2B 1029W B 1029W B 1029W B W 2B 133W 2B";

bool IsExactly(const std::exception& error, const std::type_info& type) {
  return typeid(error) == type;
}

const char* NameOf(const std::error_code& code) {
  if (code == std::error_code(EFAULT, std::system_category())) {
    return "EFAULT";
  }
  return code == std::errc::resource_unavailable_try_again ? "EAGAIN" : "of another number";
}

}  // namespace

const std::vector<Operation>& Operations() {
  using enum ObligingBoard::Program;
  static const std::vector<Operation> kOperations = {
      {"PingBootloader", kBootloader, Ping, "F W B", "returns 9"},
      {"PingApplication", kApplication, PingApplication, "F W R", "returns 134"},
      {"Calibrate", kApplication, Calibrate, "F W 3R", "returns 1"},
      {"ActivateBootloader", kApplication, ActivateBootloader, "W F 2W F W B", "returns "},
      {"ActivateApplication", kBootloader, ActivateApplication, "W 2F W R", "returns "},
      {"SendBootloaderCommand", kBootloader, SendBootloaderCommand, "F W R",
       std::string("returns the hardware is of revision 1\r\n\0", 40)},
      {"SendApplicationCommand", kApplication, SendApplicationCommand, "F W R",
       "returns the boot was safe"},
      {"UploadOfNoBlocks", kBootloader, Upload, kNoBlocks, "returns ", 0},
      {"UploadOfOneBlock", kBootloader, Upload, kOneBlock, "returns ", 1000},
      {"UploadOfThreeBlocks", kBootloader, Upload, kThreeBlocks, "returns ", 3000},
      {"UploadWithInfosOfNoBlocks", kBootloader, UploadWithInfos, kNoBlocks, "returns ", 0},
      {"UploadWithInfosOfOneBlock", kBootloader, UploadWithInfos, kOneBlock, "returns ", 1000},
      {"UploadWithInfosOfThreeBlocks", kBootloader, UploadWithInfos, kThreeBlocks, "returns ",
       3000},
      {"SetVerbose", kBootloader, SetVerbose, "", "returns "},
      {"SetTransferCallback", kBootloader, SetCallback, "", "returns "},
      {"ReadBootloaderInfos", kBootloader, ReadBootloaderInfos, "F W R W R W R W R W R",
       "returns s of a bootloader/h of a bootloader/p of a bootloader/V of a bootloader/v of a "
       "bootloader/BL_OK/"},
      {"ReadApplicationInfos", kApplication, ReadApplicationInfos, "F W R W R W R W R W R W R",
       "returns s of an application/h of an application/p of an application/V of an "
       "application/v of an application/the boot was safe/"},
      {"RestoreDefaultParameters", kApplication, Restore, "F 6W", "returns "},
      {"SendCharacter", kBootloader, SendCharacter, "F W R", "returns h of a bootloader"},
  };
  return kOperations;
}

bool IsAnUpload(const Operation& operation) { return operation.name.starts_with("Upload"); }

bool IsASetter(const Operation& operation) { return operation.name.starts_with("Set"); }

std::string ImageOf(const Operation& operation) {
  std::string image(operation.image_length, '\0');
  for (std::size_t i = 0; i < image.size(); ++i) {
    image[i] = static_cast<char>(i * 7 + i / 256);
  }
  return image;
}

void RunInto(std::string& outcome, const Operation& operation, BootLoader& client,
             const std::string& image_path) {
  try {
    outcome.assign("returns ");
    operation.run(client, image_path, outcome);
  } catch (const std::system_error& error) {
    outcome.assign(IsExactly(error, typeid(std::system_error)) ? "system_error " : "another ");
    outcome.append(NameOf(error.code()));
  } catch (const std::runtime_error& error) {
    outcome.assign(IsExactly(error, typeid(std::runtime_error)) ? "runtime_error " : "another ");
    outcome.append(error.what());
  } catch (const std::bad_alloc&) {
    outcome.assign("bad_alloc");
  } catch (const StillWaiting&) {
    outcome.assign("still waiting");
  }
}

std::string RoomForAnOutcome() {
  std::string outcome;
  outcome.reserve(512);
  return outcome;
}

}  // namespace kvo::bootloadertms::testing
