#include "simulator/AnswerTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace kvo::boardsimulator {
namespace {

using testing::HasSubstr;
using testing::Not;
using namespace std::string_literals;

class AnswerTableTest : public testing::Test {
 protected:
  std::string Application(char code) const {
    return TextOf(table_.Find(BoardState::kApplication, static_cast<std::uint8_t>(code)));
  }
  std::string Bootloader(char code) const {
    return TextOf(table_.Find(BoardState::kBootloader, static_cast<std::uint8_t>(code)));
  }
  static std::string TextOf(const std::optional<Answer>& answer) {
    if (!answer) return "no text";
    return answer->text + (answer->line_end_follows ? "<line end>" : "");
  }
  void Give(std::string_view text) { table_.Give(ParseGivenAnswer(text)); }

  AnswerTable table_;
};

TEST_F(AnswerTableTest, EachSideHasItsDefaults) {
  EXPECT_EQ(Application('0'), "ping_callback_function<line end>");
  EXPECT_EQ(Bootloader('0'), "A");
  for (const char code : {'7', '8', '9'}) EXPECT_EQ(Application(code), "no text");
  EXPECT_EQ(Bootloader('7'), "HW-INFO R3<line end>");
  EXPECT_EQ(Bootloader('8'), "BL-INFO 1.2<line end>");
  EXPECT_EQ(Bootloader('9'), "APP-INFO 2.10<line end>");
  EXPECT_EQ(Application('s'), "SN000042<line end>");
  EXPECT_EQ(Application('h'), "HW-R3<line end>");
  EXPECT_EQ(Application('p'), "KVO-TMS<line end>");
  EXPECT_EQ(Application('V'), "V2.10<line end>");
  EXPECT_EQ(Application('v'), "v1.04<line end>");
  EXPECT_EQ(Application('b'), "BOOT_NORMAL<line end>");
  for (const char code : {'s', 'h', 'p', 'V', 'v', 'b'}) {
    EXPECT_EQ(Bootloader(code), Application(code));
  }
}

TEST_F(AnswerTableTest, NothingElseIsAnsweredByAText) {
  for (int number = 0; number < 256; ++number) {
    const auto code = static_cast<char>(number);
    if ("0789shpVvb"s.find(code) != std::string::npos) continue;
    EXPECT_EQ(Application(code), "no text") << number;
    EXPECT_EQ(Bootloader(code), "no text") << number;
  }
}

TEST_F(AnswerTableTest, NoDefaultLooksLikeAFailureOrARequestToAskAgain) {
  for (const char code : {'0', '7', '8', '9', 's', 'h', 'p', 'V', 'v', 'b'}) {
    for (const std::string word : {";", "can", "Can", "CAN", "signature"}) {
      EXPECT_THAT(Application(code), Not(HasSubstr(word)));
      EXPECT_THAT(Bootloader(code), Not(HasSubstr(word)));
    }
  }
}

TEST_F(AnswerTableTest, TextOfACodeMayBeSet) {
  table_.SetText('s', "SN7");
  table_.SetText('7', "");
  EXPECT_EQ(Application('s'), "SN7<line end>");
  EXPECT_EQ(Bootloader('s'), "SN7<line end>");
  EXPECT_EQ(Bootloader('7'), "<line end>");
  EXPECT_EQ(Application('7'), "no text");
  EXPECT_EQ(Bootloader('8'), "BL-INFO 1.2<line end>");
}

TEST_F(AnswerTableTest, GivenAnswerIsExactAndComesFirst) {
  Give("s=SN8");
  table_.SetText('s', "SN7");
  EXPECT_EQ(Application('s'), "SN8");
  EXPECT_EQ(Bootloader('s'), "SN8");
}

TEST_F(AnswerTableTest, GivenAnswerMakesACodeKnown) {
  Give("0x07=bell");
  EXPECT_EQ(Application('\a'), "bell");
  EXPECT_EQ(Bootloader('\a'), "bell");
}

TEST_F(AnswerTableTest, GivenAnswerOfOneSideLeavesTheOtherAlone) {
  Give("bootloader:s=SN8");
  EXPECT_EQ(Bootloader('s'), "SN8");
  EXPECT_EQ(Application('s'), "SN000042<line end>");
}

TEST_F(AnswerTableTest, LastGivenAnswerCounts) {
  Give("application:s=1");
  Give("s=2");
  Give("bootloader:s=3");
  EXPECT_EQ(Application('s'), "2");
  EXPECT_EQ(Bootloader('s'), "3");
}

TEST_F(AnswerTableTest, EmptyGivenAnswerIsAnAnswerOfNoBytes) {
  Give("s=");
  EXPECT_EQ(Application('s'), "");
}

TEST_F(AnswerTableTest, UnknownCodesHaveNoText) {
  table_.MakeUnknown("hp");
  table_.MakeUnknown("Q\0"s);
  for (const char code : {'h', 'p', 'Q', '\0'}) {
    EXPECT_TRUE(table_.IsMadeUnknown(static_cast<std::uint8_t>(code)));
    EXPECT_EQ(Application(code), "no text");
    EXPECT_EQ(Bootloader(code), "no text");
  }
  EXPECT_FALSE(table_.IsMadeUnknown('s'));
  EXPECT_EQ(Application('s'), "SN000042<line end>");
}

TEST_F(AnswerTableTest, GivenAnswerComesBeforeUnknown) {
  Give("application:s=SN8");
  table_.MakeUnknown("s");
  EXPECT_EQ(Application('s'), "SN8");
  EXPECT_EQ(Bootloader('s'), "no text");
}

std::string ComplaintAbout(std::string_view text) {
  try {
    ParseGivenAnswer(text);
  } catch (const std::invalid_argument& complaint) {
    return complaint.what();
  }
  return "none";
}

TEST(GivenAnswerTest, CodeAndTextAreRead) {
  const GivenAnswer answer = ParseGivenAnswer(R"(application:0x41=a=b;\r\n\0)");
  EXPECT_EQ(answer.request.asked, BoardState::kApplication);
  EXPECT_EQ(answer.request.code, 'A');
  EXPECT_EQ(answer.bytes, "a=b;\r\n\0"s);
}

TEST(GivenAnswerTest, MistakesAreTold) {
  EXPECT_EQ(ComplaintAbout("s"),
            "answer 's': no '=', expected [application:|bootloader:]CODE=TEXT");
  EXPECT_EQ(ComplaintAbout("ab=c"),
            "answer 'ab=c': 'ab' is no code, expected one printable character or 0xHH, with "
            "'application:' or 'bootloader:' before it or neither");
  EXPECT_EQ(ComplaintAbout(R"(s=\q)"),
            R"(answer 's=\q': unknown escape '\q', there are: \r \n \0 \\ \xHH)");
}

}  // namespace
}  // namespace kvo::boardsimulator
