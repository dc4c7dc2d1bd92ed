#include "client/AnswerText.h"
#include "support/ClientFixture.h"

namespace kvo::bootloadertms {
namespace {

using testing::RuntimeErrorOf;
using namespace std::chrono_literals;
using namespace std::string_literals;

constexpr const char* kBootloaderInvalid =
    "Invalid response (bootloader is probably not activated or command is not implemented). "
    "Exiting";
constexpr const char* kApplicationInvalid =
    "Invalid response (application is probably not activated or command is not implemented). "
    "Exiting";

TEST(CleanAnswerTest, DropsLineEndsAndNulBytesAndKeepsTheRest) {
  EXPECT_EQ(CleanAnswer("\r\na\rb\nc\0 d\t\x01\0"s), "abc d\t\x01");
  EXPECT_EQ(CleanAnswer("\r\n\0"s), "");
  EXPECT_EQ(CleanAnswer(""), "");
}

class CommandExchangeTest : public testing::ClientFixture {
 protected:
  void Exchange(std::uint8_t request, const std::string& answer) {
    script_.FlushInput().Write({request}).Sleep(100ms).AnswerRead(answer);
  }
};

TEST_F(CommandExchangeTest, BootloaderAnswerComesBackAsReceived) {
  Exchange(0x37, "OK\r\n\0"s);
  EXPECT_EQ(client_.SendBootloaderCommand(0x37), "OK\r\n\0"s);
}

TEST_F(CommandExchangeTest, ApplicationAnswerComesBackAsReceived) {
  Exchange(0x39, "OK\r\n\0"s);
  EXPECT_EQ(client_.SendApplicationCommand(0x39), "OK\r\n\0"s);
}

TEST_F(CommandExchangeTest, SafeBootStatusOfTheApplicationIsCleaned) {
  Exchange(0x62, "OK\r\n\0"s);
  EXPECT_EQ(client_.SendApplicationCommand(0x62), "OK");
}

TEST_F(CommandExchangeTest, SafeBootStatusOfTheBootloaderIsNot) {
  Exchange(0x62, "OK\r\n\0"s);
  EXPECT_EQ(client_.SendBootloaderCommand(0x62), "OK\r\n\0"s);
}

TEST_F(CommandExchangeTest, OnlyTheLowByteOfACodeGoesOut) {
  Exchange(0x00, "x");
  EXPECT_EQ(client_.SendBootloaderCommand(0x100), "x");
  Exchange(0x39, "y");
  EXPECT_EQ(client_.SendApplicationCommand(0xFFFFFF39), "y");
}

TEST_F(CommandExchangeTest, ACodeWhoseLowByteIsSafeBootStatusIsNotCleaned) {
  Exchange(0x62, "OK\n"s);
  EXPECT_EQ(client_.SendApplicationCommand(0x162), "OK\n");
}

TEST_F(CommandExchangeTest, EmptyAnswersAreErrorsAndLeaveTheClientUsable) {
  Exchange(0x37, "");
  EXPECT_EQ(RuntimeErrorOf([this] { client_.SendBootloaderCommand(0x37); }), kBootloaderInvalid);
  Exchange(0x39, "");
  EXPECT_EQ(RuntimeErrorOf([this] { client_.SendApplicationCommand(0x39); }), kApplicationInvalid);
  ExpectUsable();
}

TEST_F(CommandExchangeTest, ASemicolonAnywhereIsAnError) {
  Exchange(0x37, "OK;\0"s);
  EXPECT_EQ(RuntimeErrorOf([this] { client_.SendBootloaderCommand(0x37); }), kBootloaderInvalid);
  Exchange(0x62, ";OK");
  EXPECT_EQ(RuntimeErrorOf([this] { client_.SendApplicationCommand(0x62); }), kApplicationInvalid);
}

TEST_F(CommandExchangeTest, ASemicolonBehindANulByteIsAnError) {
  Exchange(0x37, "OK\0;\0"s);
  EXPECT_EQ(RuntimeErrorOf([this] { client_.SendBootloaderCommand(0x37); }), kBootloaderInvalid);
}

TEST_F(CommandExchangeTest, ASafeBootStatusThatIsEmptyOnceCleanedIsAnError) {
  Exchange(0x62, "\r\n\0"s);
  EXPECT_EQ(RuntimeErrorOf([this] { client_.SendApplicationCommand(0x62); }), kApplicationInvalid);
}

TEST_F(CommandExchangeTest, LineEndsAloneAreAGoodAnswerToOtherCodes) {
  Exchange(0x39, "\r\n\0"s);
  EXPECT_EQ(client_.SendApplicationCommand(0x39), "\r\n\0"s);
}

TEST_F(CommandExchangeTest, VerboseShowsTheAnswerAsItIsJudged) {
  MakeVerbose();
  Exchange(0x37, "OK\r\n\0"s);
  script_.Print("OK\r\n\0\n"s).FlushOutput();
  client_.SendBootloaderCommand(0x37);
  Exchange(0x62, "OK\r\n\0"s);
  script_.Print("OK\n").FlushOutput();
  client_.SendApplicationCommand(0x62);
  Exchange(0x39, "OK\r\n\0"s);
  script_.Print("OK\r\n\0\n"s).FlushOutput();
  client_.SendApplicationCommand(0x39);
}

TEST_F(CommandExchangeTest, VerboseShowsAnInvalidAnswerToo) {
  MakeVerbose();
  Exchange(0x37, "");
  script_.Print("\n").FlushOutput();
  EXPECT_THROW(client_.SendBootloaderCommand(0x37), std::runtime_error);
}

TEST_F(CommandExchangeTest, CharacterReturnsTheCleanedAnswer) {
  Exchange(0x41, "hello;\r\n\0"s);
  EXPECT_EQ(client_.SendCharacter(0x41), "hello;");
}

TEST_F(CommandExchangeTest, CharacterAcceptsAnEmptyAnswer) {
  Exchange(0xFF, "");
  EXPECT_EQ(client_.SendCharacter(0xFF), "");
}

TEST_F(CommandExchangeTest, CharacterAnsweredByUAloneIsAnErrorAndLeavesTheClientUsable) {
  Exchange(0x41, "U\r\n\0"s);
  EXPECT_EQ(RuntimeErrorOf([this] { client_.SendCharacter(0x41); }), "Invalid command. Exiting");
  ExpectUsable();
}

TEST_F(CommandExchangeTest, CharacterAnsweredByMoreThanUIsGood) {
  Exchange(0x41, "UU");
  EXPECT_EQ(client_.SendCharacter(0x41), "UU");
  Exchange(0x41, "u");
  EXPECT_EQ(client_.SendCharacter(0x41), "u");
}

TEST_F(CommandExchangeTest, VerboseCharacterShowsTheRawAnswer) {
  MakeVerbose();
  Exchange(0x41, "OK\r\n\0"s);
  script_.Print("OK\r\n\0\n"s).FlushOutput();
  EXPECT_EQ(client_.SendCharacter(0x41), "OK");
}

TEST_F(CommandExchangeTest, VerboseCharacterShowsTheAnswerBeforeItIsJudged) {
  MakeVerbose();
  Exchange(0x41, "U\r\n\0"s);
  script_.Print("U\r\n\0\n"s).FlushOutput();
  EXPECT_EQ(RuntimeErrorOf([this] { client_.SendCharacter(0x41); }), "Invalid command. Exiting");
  Exchange(0x41, "");
  script_.Print("\n").FlushOutput();
  EXPECT_EQ(client_.SendCharacter(0x41), "");
}

TEST_F(CommandExchangeTest, FailuresOfThePortPassThroughAndLeaveTheClientUsable) {
  script_.FlushInput().WriteFails();
  ExpectThePortsError([this] { client_.SendBootloaderCommand(0x37); });
  script_.FlushInput().Write({0x62}).Sleep(100ms).ReadFails();
  ExpectThePortsError([this] { client_.SendApplicationCommand(0x62); });
  script_.FlushInput().Write({0x41}).Sleep(100ms).ReadFails();
  ExpectThePortsError([this] { client_.SendCharacter(0x41); });
  ExpectUsable();
}

}  // namespace
}  // namespace kvo::bootloadertms
