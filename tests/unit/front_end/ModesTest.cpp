#include "front_end/Modes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <new>
#include <string>
#include <system_error>
#include <typeinfo>
#include <vector>

#include "client/IBootLoader.h"
#include "support/Output.h"
#include "support/RuntimeErrorOf.h"

namespace kvo::bootloadertms {
namespace {

using namespace std::string_literals;
using ::testing::InSequence;
using ::testing::Return;
using ::testing::StrictMock;
using ::testing::Throw;

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

class ModesTest : public ::testing::Test {
 protected:
  ~ModesTest() override { FrontEndLog().SetVerbose(false); }

  void Run(std::vector<const char*> after_the_rate) {
    after_the_rate.insert(after_the_rate.begin(), {"the-program", "/dev/ttyX", "115200"});
    const ArgumentList arguments(static_cast<int>(after_the_rate.size()), after_the_rate.data());
    FrontEndLog().SetVerbose(arguments.HasOption("--verbose"));
    RunChosenMode(arguments, client_);
  }

  std::string ErrorOfRunning(const std::vector<const char*>& after_the_rate) {
    return testing::RuntimeErrorOf([&] { Run(after_the_rate); });
  }

  const InSequence in_the_order_of_the_expectations_;
  StrictMock<MockClient> client_;
  testing::CapturedStream out_{std::cout};
};

// The choice of the mode.

TEST_F(ModesTest, CommandComesBeforeSend) {
  EXPECT_CALL(client_, ActivateBootloader);
  Run({"--send", "zz", "--command", "0x51", "--application_info"});
}

TEST_F(ModesTest, SendComesBeforeApplicationInfo) {
  EXPECT_CALL(client_, SendCharacter(0x41)).WillOnce(Return(""));
  Run({"--application_info", "--active_bootloader", "--send", "41"});
  EXPECT_EQ(ErrorOfRunning({"--application_info", "--send"}),
            "No command specified to send. Exiting");
}

TEST_F(ModesTest, ApplicationInfoComesBeforeTheUpload) {
  EXPECT_CALL(client_, SendBootloaderCommand(0x39)).WillOnce(Return("info"));
  EXPECT_CALL(client_, ActivateApplication);
  Run({"fw_tv.bin", "--application_info"});
}

TEST_F(ModesTest, WithoutAModeTheThirdArgumentIsUploaded) {
  EXPECT_CALL(client_, UploadImage("image.bin"));
  Run({"image.bin", "--verbose"});
}

TEST_F(ModesTest, ASwitchInTheThirdPlaceIsStillTheImage) {
  EXPECT_CALL(client_, UploadImage("--verbose"));
  Run({"--verbose", "--no_active_bootloader"});
}

// The upload mode.

TEST_F(ModesTest, UploadSwitchesToTheBootloaderAndBackWhereAskedFor) {
  EXPECT_CALL(client_, ActivateBootloader);
  EXPECT_CALL(client_, UploadImage("fw_tv.bin"));
  EXPECT_CALL(client_, ActivateApplication);
  Run({"fw_tv.bin", "--active_bootloader", "--active_application", "--verbose"});
  EXPECT_EQ(out_.Text(), "") << "both messages go through the process-wide log";
}

TEST_F(ModesTest, UploadDoesNotSwitchUnlessAskedTo) {
  EXPECT_CALL(client_, UploadImage("fw_tv.bin"));
  Run({"fw_tv.bin", "--no_active_bootloader"});
}

TEST_F(ModesTest, UploadMayOnlyStartTheApplication) {
  EXPECT_CALL(client_, UploadImage("fw_tv.bin"));
  EXPECT_CALL(client_, ActivateApplication);
  Run({"fw_tv.bin", "--active_application"});
}

TEST_F(ModesTest, UploadMessagesShowWhereTheProcessWideLogIsVerbose) {
  LogMess::GetInstance().SetVerbose(true);
  EXPECT_CALL(client_, ActivateBootloader);
  EXPECT_CALL(client_, UploadImage("fw_tv.bin"));
  EXPECT_CALL(client_, ActivateApplication);
  Run({"fw_tv.bin", "--active_bootloader", "--active_application"});
  LogMess::GetInstance().SetVerbose(false);
  EXPECT_EQ(out_.Text(), "Active bootloader ... Launching application ... ");
}

TEST_F(ModesTest, UploadMessagesComeBeforeWhatTheyTellOf) {
  LogMess::GetInstance().SetVerbose(true);
  EXPECT_CALL(client_, ActivateBootloader).WillOnce(Throw(std::runtime_error("silent")));
  EXPECT_EQ(ErrorOfRunning({"fw_tv.bin", "--active_bootloader", "--active_application"}), "silent");
  EXPECT_EQ(out_.Text(), "Active bootloader ... ");

  EXPECT_CALL(client_, UploadImage("fw_tv.bin"));
  EXPECT_CALL(client_, ActivateApplication).WillOnce(Throw(std::runtime_error("silent")));
  EXPECT_EQ(ErrorOfRunning({"fw_tv.bin", "--active_application"}), "silent");
  LogMess::GetInstance().SetVerbose(false);
  EXPECT_EQ(out_.Text(), "Active bootloader ... Launching application ... ");
}

TEST_F(ModesTest, NothingIsUploadedWithoutTheBootloader) {
  EXPECT_CALL(client_, ActivateBootloader).WillOnce(Throw(std::runtime_error("silent")));
  EXPECT_EQ(ErrorOfRunning({"fw_tv.bin", "--active_bootloader", "--active_application"}), "silent");
}

TEST_F(ModesTest, TheApplicationIsNotStartedAfterAFailedUpload) {
  EXPECT_CALL(client_, UploadImage("fw_tv.bin")).WillOnce(Throw(std::runtime_error("refused")));
  EXPECT_EQ(ErrorOfRunning({"fw_tv.bin", "--active_application", "--verbose"}), "refused");
  EXPECT_EQ(out_.Text(), "") << "no [KO] outside the command mode";
}

// The send mode.

TEST_F(ModesTest, SendPrintsTheAnswerBeforeItsOk) {
  EXPECT_CALL(client_, SendCharacter(0xFF)).WillOnce(Return("hello"));
  Run({"--send", "0x1FF", "--verbose"});
  EXPECT_EQ(out_.TextWithFlushes(), "\nSend CMD (0x1FF)...<flush>hello\n<flush> [OK]\n<flush>");
}

TEST_F(ModesTest, QuietSendPrintsTheAnswerAlone) {
  EXPECT_CALL(client_, SendCharacter(0x00)).WillOnce(Return(""));
  Run({"--send", "0"});
  EXPECT_EQ(out_.TextWithFlushes(), "\n<flush>");
}

TEST_F(ModesTest, SendIgnoresBothModifiers) {
  EXPECT_CALL(client_, SendCharacter(0x41)).WillOnce(Return(""));
  Run({"--send", "41", "--active_bootloader", "--active_application"});
}

TEST_F(ModesTest, AFailedSendHasNoKo) {
  EXPECT_CALL(client_, SendCharacter(0x41)).WillOnce(Throw(std::runtime_error("unknown")));
  EXPECT_EQ(ErrorOfRunning({"--send", "41", "--verbose"}), "unknown");
  EXPECT_EQ(out_.Text(), "\nSend CMD (41)...");
}

TEST_F(ModesTest, AnInvalidByteToSendReachesNobody) {
  EXPECT_EQ(ErrorOfRunning({"--send", "zz", "--verbose"}), "Invalid command to send : zz");
  EXPECT_EQ(ErrorOfRunning({"--verbose", "--send"}), "No command specified to send. Exiting");
  EXPECT_EQ(out_.Text(), "");
}

// The application-information mode.

TEST_F(ModesTest, ApplicationInfoIsPrintedAndTheApplicationStarted) {
  EXPECT_CALL(client_, ActivateBootloader);
  EXPECT_CALL(client_, SendBootloaderCommand(0x39)).WillOnce(Return("v1\r\n\0"s));
  EXPECT_CALL(client_, ActivateApplication);
  Run({"--application_info", "--active_bootloader", "--verbose"});
  EXPECT_EQ(out_.TextWithFlushes(), "Active bootloader ... <flush>v1\r\n\0\n<flush>"s);
}

TEST_F(ModesTest, ApplicationInfoStartsTheApplicationThoughTheBootloaderWasNotAskedFor) {
  EXPECT_CALL(client_, SendBootloaderCommand(0x39)).WillOnce(Return("v1"));
  EXPECT_CALL(client_, ActivateApplication);
  Run({"--application_info", "--no_active_bootloader", "--verbose"});
  EXPECT_EQ(out_.Text(), "v1\n");
}

TEST_F(ModesTest, QuietApplicationInfoPrintsTheAnswerAlone) {
  EXPECT_CALL(client_, ActivateBootloader);
  EXPECT_CALL(client_, SendBootloaderCommand(0x39)).WillOnce(Return("v1"));
  EXPECT_CALL(client_, ActivateApplication).Times(1);
  Run({"--application_info", "--active_bootloader", "--active_application"});
  EXPECT_EQ(out_.TextWithFlushes(), "v1\n<flush>");
}

TEST_F(ModesTest, ApplicationInfoTellsBeforeItSwitchesToTheBootloader) {
  EXPECT_CALL(client_, ActivateBootloader).WillOnce(Throw(std::runtime_error("silent")));
  EXPECT_EQ(ErrorOfRunning({"--application_info", "--active_bootloader", "--verbose"}), "silent");
  EXPECT_EQ(out_.TextWithFlushes(), "Active bootloader ... <flush>");
}

TEST_F(ModesTest, ApplicationInfoIsPrintedBeforeTheApplicationIsStarted) {
  EXPECT_CALL(client_, SendBootloaderCommand(0x39)).WillOnce(Return("v1"));
  EXPECT_CALL(client_, ActivateApplication).WillOnce(Throw(std::runtime_error("silent")));
  EXPECT_EQ(ErrorOfRunning({"--application_info", "x", "--verbose"}), "silent");
  EXPECT_EQ(out_.TextWithFlushes(), "v1\n<flush>");
}

TEST_F(ModesTest, AFailedApplicationInfoHasNoKo) {
  EXPECT_CALL(client_, SendBootloaderCommand(0x39)).WillOnce(Throw(std::runtime_error("silent")));
  EXPECT_EQ(ErrorOfRunning({"--application_info", "x", "--verbose"}), "silent");
  EXPECT_EQ(out_.Text(), "");
}

// The command mode.

TEST_F(ModesTest, APingShowsTheCodeAsTyped) {
  EXPECT_CALL(client_, PingBootloader).WillOnce(Return(1));
  Run({"--command", " 30zz", "--verbose"});
  EXPECT_EQ(out_.Text(), "\nSend BL_CMD_PING ( 30zz)... [OK]\n");
}

TEST_F(ModesTest, EachTextOfACommandIsFlushed) {
  EXPECT_CALL(client_, ReadBootloaderInfos)
      .WillOnce(Return(DeviceInfos("s", "h", "p", "V", "v", "b")));
  Run({"--command", "0x100", "--verbose"});
  EXPECT_EQ(out_.TextWithFlushes(),
            "\nSend BL_CMD_DEVICE_INFO ...<flush> [OK]\n<flush>"
            "s\n<flush>h\n<flush>p\n<flush>v\n<flush>");
}

TEST_F(ModesTest, AnyOtherCodeIsNoCommand) {
  for (const char* code : {"-1", "0x4K", "0", "31", "0x130", "0x151", "FFFFFF30"}) {
    EXPECT_EQ(ErrorOfRunning({"--command", code}), "Command not implemented. Exiting") << code;
  }
  EXPECT_EQ(out_.Text(), "");
  EXPECT_THROW(Run({"--command", "0x99", "--verbose"}), std::runtime_error);
  EXPECT_EQ(out_.Text(), "\nSend CMD (0x99)... [KO]");
}

TEST_F(ModesTest, CommandIgnoresBothModifiers) {
  EXPECT_CALL(client_, PingBootloader).WillOnce(Return(9));
  Run({"--command", "30", "--active_bootloader", "--active_application"});
}

TEST_F(ModesTest, AFailedCommandIsMarkedAndItsTextKept) {
  EXPECT_CALL(client_, SendBootloaderCommand(0x38)).WillOnce(Throw(std::runtime_error("invalid")));
  EXPECT_EQ(ErrorOfRunning({"--command", "0x38", "--verbose"}), "invalid");
  EXPECT_EQ(out_.Text(), "\nSend BL_CMD_BL_INFO ... [KO]");
}

TEST_F(ModesTest, ASystemErrorLeavesAFailedCommandAsAPlainRuntimeError) {
  EXPECT_CALL(client_, ActivateBootloader)
      .WillOnce(Throw(std::system_error(EFAULT, std::system_category())));
  try {
    Run({"--command", "0x51", "--verbose"});
    FAIL() << "no error";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(typeid(error), typeid(std::runtime_error));
    EXPECT_STREQ(error.what(), "Bad address");
  }
  EXPECT_EQ(out_.Text(), "\nSend APP_ACTIVE_BOOTLOADER ... [KO]");
}

TEST_F(ModesTest, OtherExceptionsPass) {
  EXPECT_CALL(client_, ActivateBootloader).WillOnce(Throw(std::bad_alloc()));
  EXPECT_THROW(Run({"--command", "0x51", "--verbose"}), std::bad_alloc);
  EXPECT_EQ(out_.Text(), "\nSend APP_ACTIVE_BOOTLOADER ...");
}

TEST_F(ModesTest, AnInvalidCodeReachesNobodyAndHasNoKo) {
  EXPECT_EQ(ErrorOfRunning({"--command", "zz", "--verbose"}), "Invalid command : zz");
  EXPECT_EQ(ErrorOfRunning({"--verbose", "--command"}), "No command specified. Exiting");
  EXPECT_EQ(out_.Text(), "");
}

TEST_F(ModesTest, TheFrontEndsLogIsItsOwn) {
  EXPECT_NE(&FrontEndLog(), &LogMess::GetInstance());
  EXPECT_EQ(&FrontEndLog(), &FrontEndLog());
}

}  // namespace
}  // namespace kvo::bootloadertms
