#include <ostream>
#include <string>

#include "client/AnswerText.h"
#include "support/ClientFixture.h"

namespace kvo::bootloadertms {
namespace {

using testing::RuntimeErrorOf;
using namespace std::chrono_literals;
using namespace std::string_literals;

const std::string kBootloaderInvalid =
    "Invalid response (bootloader is probably not activated or command is not implemented). "
    "Exiting";
const std::string kApplicationInvalid =
    "Invalid response (application is probably not activated or command is not implemented). "
    "Exiting";

TEST(CleanAnswerTest, DropsLineEndsAndNulBytesAndKeepsTheRest) {
  EXPECT_EQ(CleanAnswer("\r\na\rb\nc\0 d\t\x01\0"s), "abc d\t\x01");
  EXPECT_EQ(CleanAnswer("\r\n\0"s), "");
  EXPECT_EQ(CleanAnswer(""), "");
}

enum class To { kBootloader, kApplication, kEither };

struct Row {
  const char* name;
  To to;
  std::uint32_t code;
  std::uint8_t request;  // on the line
  std::string answer;
  std::string shown;   // when verbose
  std::string result;  // or the text of the error
  bool fails = false;
};

constexpr bool kFails = true;

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class CommandExchangeTest : public testing::ClientFixture,
                            public ::testing::WithParamInterface<Row> {
 protected:
  std::string Send() {
    switch (GetParam().to) {
      case To::kBootloader:
        return client_.SendBootloaderCommand(GetParam().code);
      case To::kApplication:
        return client_.SendApplicationCommand(GetParam().code);
      default:
        return client_.SendCharacter(static_cast<std::uint8_t>(GetParam().code));
    }
  }

  void ExpectTheResult() {
    if (GetParam().fails) {
      EXPECT_EQ(RuntimeErrorOf([this] { Send(); }), GetParam().result);
    } else {
      EXPECT_EQ(Send(), GetParam().result);
    }
  }
};

TEST_P(CommandExchangeTest, IsOneRequestAndOneAnswer) {
  script_.FlushInput().Write({GetParam().request}).Sleep(100ms).AnswerRead(GetParam().answer);
  ExpectTheResult();
}

TEST_P(CommandExchangeTest, ShowsTheAnswerWhenVerboseBeforeItIsJudged) {
  MakeVerbose();
  script_.FlushInput().Write({GetParam().request}).Sleep(100ms).AnswerRead(GetParam().answer);
  script_.Print(GetParam().shown + "\n").FlushOutput();
  ExpectTheResult();
}

INSTANTIATE_TEST_SUITE_P(
    All, CommandExchangeTest,
    ::testing::Values(
        Row{"BootloaderAnswerComesBackAsReceived", To::kBootloader, 0x37, 0x37, "OK\r\n\0"s,
            "OK\r\n\0"s, "OK\r\n\0"s},
        Row{"ApplicationAnswerComesBackAsReceived", To::kApplication, 0x39, 0x39, "OK\r\n\0"s,
            "OK\r\n\0"s, "OK\r\n\0"s},
        Row{"SafeBootStatusOfTheApplicationIsCleaned", To::kApplication, 0x62, 0x62, "OK\r\n\0"s,
            "OK", "OK"},
        Row{"SafeBootStatusOfTheBootloaderIsNot", To::kBootloader, 0x62, 0x62, "OK\r\n\0"s,
            "OK\r\n\0"s, "OK\r\n\0"s},
        Row{"OnlyTheLowByteGoesOutToTheBootloader", To::kBootloader, 0x100, 0x00, "x", "x", "x"},
        Row{"OnlyTheLowByteGoesOutToTheApplication", To::kApplication, 0xFFFFFF39, 0x39, "y", "y",
            "y"},
        Row{"ACodeWhoseLowByteIsSafeBootStatusIsNotCleaned", To::kApplication, 0x162, 0x62, "OK\n",
            "OK\n", "OK\n"},
        Row{"LineEndsAloneAreAGoodAnswer", To::kApplication, 0x39, 0x39, "\r\n\0"s, "\r\n\0"s,
            "\r\n\0"s},
        Row{"NoAnswerOfTheBootloaderIsAnError", To::kBootloader, 0x37, 0x37, "", "",
            kBootloaderInvalid, kFails},
        Row{"NoAnswerOfTheApplicationIsAnError", To::kApplication, 0x39, 0x39, "", "",
            kApplicationInvalid, kFails},
        Row{"ASemicolonIsAnError", To::kBootloader, 0x37, 0x37, "OK;\0"s, "OK;\0"s,
            kBootloaderInvalid, kFails},
        Row{"ASemicolonAfterANulByteIsAnError", To::kBootloader, 0x37, 0x37, "OK\0;\0"s, "OK\0;\0"s,
            kBootloaderInvalid, kFails},
        Row{"ASemicolonInASafeBootStatusIsAnError", To::kApplication, 0x62, 0x62, ";OK", ";OK",
            kApplicationInvalid, kFails},
        Row{"ASafeBootStatusThatIsEmptyOnceCleanedIsAnError", To::kApplication, 0x62, 0x62,
            "\r\n\0"s, "", kApplicationInvalid, kFails},
        Row{"ACharactersAnswerIsCleaned", To::kEither, 0x41, 0x41, "hello;\r\n\0"s, "hello;\r\n\0"s,
            "hello;"},
        Row{"ACharacterNeedsNoAnswer", To::kEither, 0xFF, 0xFF, "", "", ""},
        Row{"ACharacterAnsweredByUAloneIsAnError", To::kEither, 0x41, 0x41, "U\r\n\0"s, "U\r\n\0"s,
            "Invalid command. Exiting", kFails},
        Row{"ACharacterAnsweredByTwoUIsGood", To::kEither, 0x41, 0x41, "UU", "UU", "UU"},
        Row{"ACharacterAnsweredByASmallUIsGood", To::kEither, 0x41, 0x41, "u", "u", "u"}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace kvo::bootloadertms
