#pragma once

#include <gmock/gmock.h>

#include <string>

#include "client/IBootLoader.h"

namespace kvo::bootloadertms::testing {

// A client whose operations a test expects one by one.
class MockClient : public IBootLoader {
 public:
  MOCK_METHOD(std::uint32_t, PingBootloader, (), (override));
  MOCK_METHOD(std::uint32_t, PingApplication, (), (override));
  MOCK_METHOD(int, Calibrate, (), (override));
  MOCK_METHOD(void, ActivateBootloader, (), (override));
  MOCK_METHOD(void, ActivateApplication, (), (override));
  MOCK_METHOD(std::string, SendBootloaderCommand, (std::uint32_t), (override));
  MOCK_METHOD(std::string, SendApplicationCommand, (std::uint32_t), (override));
  MOCK_METHOD(void, UploadImage, (const std::string&), (override));
  MOCK_METHOD(void, UploadImageWithInfos, (const std::string&, const AppInfos&), (override));
  MOCK_METHOD(void, SetVerbose, (bool), (override));
  MOCK_METHOD(void, SetTransferCallback, (TransferProgress), (override));
  MOCK_METHOD(DeviceInfos, ReadBootloaderInfos, (), (override));
  MOCK_METHOD(DeviceInfos, ReadApplicationInfos, (), (override));
  MOCK_METHOD(void, RestoreDefaultParameters, (), (override));
  MOCK_METHOD(std::string, SendCharacter, (std::uint8_t), (override));
};

}  // namespace kvo::bootloadertms::testing
