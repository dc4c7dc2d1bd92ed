#include "support/ClientFixture.h"

namespace kvo::bootloadertms {
namespace {

using namespace std::chrono_literals;
using testing::Script;

class PingTest : public testing::ClientFixture {
 protected:
  void BootloaderAnswers(std::uint8_t answer) {
    script_.FlushInput().Write({0x30}).AnswerByte(answer).Sleep(50ms);
  }
  void ApplicationAnswers(const std::string& answer) {
    script_.FlushInput().Write({0x30}).AnswerRead(answer).Sleep(50ms);
  }
  void BootloaderIsSilent(int attempts) {
    script_.Times(attempts, [this](Script&) { BootloaderAnswers(0x00); });
  }
  void ApplicationIsSilent(int attempts) {
    script_.Times(attempts, [this](Script&) { ApplicationAnswers(""); });
  }

  const std::string marker_ = "ping_callback_function";
};

TEST_F(PingTest, BootloaderThatAnswersAtOnceLeavesNineAttempts) {
  BootloaderAnswers('A');
  EXPECT_EQ(client_.PingBootloader(), 9U);
}

TEST_F(PingTest, BootloaderThatAnswersInTheNinthAttemptLeavesOne) {
  BootloaderIsSilent(8);
  BootloaderAnswers('A');
  EXPECT_EQ(client_.PingBootloader(), 1U);
}

TEST_F(PingTest, SilentBootloaderGivesZeroAfterNineAttempts) {
  BootloaderIsSilent(9);
  EXPECT_EQ(client_.PingBootloader(), 0U);
}

TEST_F(PingTest, BootloaderThatAnswersAnythingElseIsTakenAsSilent) {
  for (const std::uint8_t answer : testing::Bytes{'a', 'B', '@', 0xFF, 0x06, 'O', 'U', 'C', 0x30}) {
    BootloaderAnswers(answer);
  }
  EXPECT_EQ(client_.PingBootloader(), 0U);
}

TEST_F(PingTest, VerboseBootloaderPingShowsEachAnswerAndADot) {
  MakeVerbose();
  script_.FlushInput().Write({0x30}).AnswerByte('x').Print("x").FlushOutput();
  script_.Sleep(50ms).Print(".").FlushOutput();
  script_.FlushInput().Write({0x30}).AnswerByte('A').Print("A").FlushOutput();
  script_.Sleep(50ms).Print(".").FlushOutput().Print("\n").FlushOutput();
  EXPECT_EQ(client_.PingBootloader(), 8U);
}

TEST_F(PingTest, VerboseBootloaderPingShowsATimeoutAsItsNulByte) {
  MakeVerbose();
  script_.Times(9, [](Script& steps) {
    steps.FlushInput().Write({0x30}).AnswerByte(0).Print(std::string(1, '\0')).FlushOutput();
    steps.Sleep(50ms).Print(".").FlushOutput();
  });
  script_.Print("\n").FlushOutput();
  EXPECT_EQ(client_.PingBootloader(), 0U);
}

TEST_F(PingTest, ApplicationThatAnswersAtOnceLeavesTheLowByteOf2950) {
  ApplicationAnswers(marker_);
  EXPECT_EQ(client_.PingApplication(), 134U);
}

TEST_F(PingTest, ApplicationMarkerMayStandAnywhereInOneRead) {
  ApplicationAnswers("noise " + marker_ + "\r\n" + std::string(1, '\0'));
  EXPECT_NE(client_.PingApplication(), 0U);
}

TEST_F(PingTest, ApplicationThatAnswersInAttempt59LeavesFifty) {
  ApplicationIsSilent(58);
  ApplicationAnswers(marker_);
  EXPECT_EQ(client_.PingApplication(), 50U);
}

TEST_F(PingTest, ApplicationThatAnswersOnlyInAttempt60CountsAsSilent) {
  ApplicationIsSilent(59);
  ApplicationAnswers(marker_);
  EXPECT_EQ(client_.PingApplication(), 0U);
}

TEST_F(PingTest, SilentApplicationGivesZeroAfter60Attempts) {
  ApplicationIsSilent(60);
  EXPECT_EQ(client_.PingApplication(), 0U);
}

TEST_F(PingTest, ApplicationMarkerSplitOverTwoReadsIsNotRecognised) {
  script_.Times(30, [this](Script&) {
    ApplicationAnswers("ping_callback");
    ApplicationAnswers("_function");
  });
  EXPECT_EQ(client_.PingApplication(), 0U);
}

TEST_F(PingTest, ApplicationMarkerMustBeWhole) {
  script_.Times(30, [this](Script&) {
    ApplicationAnswers("ping_callback_functio");
    ApplicationAnswers("PING_CALLBACK_FUNCTION");
  });
  EXPECT_EQ(client_.PingApplication(), 0U);
}

TEST_F(PingTest, ApplicationMarkerMayStandAfterANulByte) {
  ApplicationAnswers(std::string(1, '\0') + marker_);
  EXPECT_NE(client_.PingApplication(), 0U);
}

TEST_F(PingTest, AnInterruptedPauseIsNotResumed) {
  script_.FlushInput().Write({0x30}).AnswerByte(0x00).SleepInterrupted(50ms, 1ms);
  BootloaderAnswers('A');
  EXPECT_EQ(client_.PingBootloader(), 8U);
}

TEST_F(PingTest, VerboseApplicationPingShowsADotForEachAttempt) {
  MakeVerbose();
  script_.FlushInput().Write({0x30}).AnswerRead("").Print(".").FlushOutput().Sleep(50ms);
  script_.FlushInput().Write({0x30}).AnswerRead(marker_).Print(".").FlushOutput().Sleep(50ms);
  script_.Print("\n").FlushOutput();
  EXPECT_NE(client_.PingApplication(), 0U);
}

}  // namespace
}  // namespace kvo::bootloadertms
