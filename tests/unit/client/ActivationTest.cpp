#include "support/ClientFixture.h"

namespace kvo::bootloadertms {
namespace {

using testing::RuntimeErrorOf;
using namespace std::chrono_literals;
using testing::Script;

class ActivationTest : public testing::ClientFixture {
 protected:
  void BootloaderIsAskedFor() {
    script_.Write({0x51}).Sleep(1s).FlushInput().Write({0x18, 0x18}).Sleep(100ms);
  }
  void BootloaderAnswers(std::uint8_t answer) {
    script_.FlushInput().Write({0x30}).AnswerByte(answer).Sleep(50ms);
  }
  void ApplicationIsAskedFor() { script_.Write({0x36}).Sleep(1s).FlushInput(); }
  void ApplicationAnswers(const std::string& answer) {
    script_.FlushInput().Write({0x30}).AnswerRead(answer).Sleep(50ms);
  }
};

TEST_F(ActivationTest, BootloaderIsAskedThenCancelledThenPinged) {
  BootloaderIsAskedFor();
  BootloaderAnswers('A');
  client_.ActivateBootloader();
}

TEST_F(ActivationTest, BootloaderMayAnswerInTheNinthPing) {
  BootloaderIsAskedFor();
  script_.Times(8, [this](Script&) { BootloaderAnswers(0x00); });
  BootloaderAnswers('A');
  client_.ActivateBootloader();
}

TEST_F(ActivationTest, SilentBootloaderIsAnError) {
  BootloaderIsAskedFor();
  script_.Times(9, [this](Script&) { BootloaderAnswers(0x00); });
  EXPECT_EQ(RuntimeErrorOf([this] { client_.ActivateBootloader(); }),
            "Bootloader doesn't respond. Exiting");
}

TEST_F(ActivationTest, VerboseBootloaderActivationTellsBeforeItAsks) {
  MakeVerbose();
  script_.Print("Activating bootloader\n").FlushOutput();
  BootloaderIsAskedFor();
  script_.FlushInput().Write({0x30}).AnswerByte('A').Print("A").FlushOutput().Sleep(50ms);
  script_.Print(".").FlushOutput().Print("\n").FlushOutput();
  client_.ActivateBootloader();
}

TEST_F(ActivationTest, ApplicationIsAskedThenPinged) {
  ApplicationIsAskedFor();
  ApplicationAnswers("ping_callback_function");
  client_.ActivateApplication();
}

TEST_F(ActivationTest, SilentApplicationIsAnError) {
  ApplicationIsAskedFor();
  script_.Times(60, [this](Script&) { ApplicationAnswers(""); });
  EXPECT_EQ(RuntimeErrorOf([this] { client_.ActivateApplication(); }),
            "Application doesn't respond. Exiting");
}

TEST_F(ActivationTest, ApplicationThatAnswersOnlyInAttempt60IsAnError) {
  ApplicationIsAskedFor();
  script_.Times(59, [this](Script&) { ApplicationAnswers(""); });
  ApplicationAnswers("ping_callback_function");
  EXPECT_EQ(RuntimeErrorOf([this] { client_.ActivateApplication(); }),
            "Application doesn't respond. Exiting");
}

TEST_F(ActivationTest, VerboseApplicationActivationTellsBeforeItAsks) {
  MakeVerbose();
  script_.Print("Activating application\n").FlushOutput();
  ApplicationIsAskedFor();
  script_.FlushInput().Write({0x30}).AnswerRead("ping_callback_function");
  script_.Print(".").FlushOutput().Sleep(50ms).Print("\n").FlushOutput();
  client_.ActivateApplication();
}

TEST_F(ActivationTest, RestoringDefaultsSendsSixBytesWithPausesBetweenThem) {
  script_.FlushInput().Write({0x51}).Sleep(100ms).Write({0x36}).Sleep(100ms).Write({0x74});
  script_.Sleep(100ms).Write({0x43}).Sleep(100ms).Write({0x52}).Sleep(100ms).Write({0x4C});
  client_.RestoreDefaultParameters();
}

TEST_F(ActivationTest, VerboseShowsNothingOfRestoringDefaults) {
  MakeVerbose();
  script_.FlushInput().Write({0x51}).Sleep(100ms).Write({0x36}).Sleep(100ms).Write({0x74});
  script_.Sleep(100ms).Write({0x43}).Sleep(100ms).Write({0x52}).Sleep(100ms).Write({0x4C});
  client_.RestoreDefaultParameters();
}

}  // namespace
}  // namespace kvo::bootloadertms
