// What the small texts mean that the simulator's options are made of, and what is wrong with them.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "simulator/AnswerTable.h"
#include "simulator/AskAgain.h"
#include "simulator/BoardTable.h"
#include "simulator/Fault.h"
#include "simulator/Request.h"
#include "simulator/TextParsing.h"
#include "tables/Boards.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;
using namespace std::string_literals;

constexpr const char* kNoTimes =
    "if not 'always', what follows '/' must be a number from 1 to 4294967295";
constexpr const char* kNoCode =
    " is no code, expected one printable character or 0xHH, with 'application:' or 'bootloader:' "
    "before it or neither";
constexpr const char* kNoEscape = R"(, there are: \r \n \0 \\ \xHH)";

std::string ComplaintOf(const std::function<void()>& parse) {
  try {
    parse();
  } catch (const std::invalid_argument& complaint) {
    return complaint.what();
  }
  return "none";
}

TEST(BoardTableTest, HoldsTheNamesOfEachKey) {
  std::vector<std::string> keys;
  for (const bootloadertms::testing::Board& board : bootloadertms::testing::Boards()) {
    if (board.key.empty()) {
      continue;
    }
    keys.push_back(board.key);
    const auto names = FindBoard(board.key);
    ASSERT_TRUE(names) << board.key;
    EXPECT_EQ(names->board, board.board_name);
    EXPECT_EQ(names->application, board.application_name);
    EXPECT_EQ(names->version, board.version);
  }
  EXPECT_EQ(BoardKeys(), keys);
  for (const std::string_view key : {"", "d", "dkx", "TV", "xx"}) {
    EXPECT_FALSE(FindBoard(key)) << key;
  }
}

TEST(TextParsingTest, TextIsSplitAtTheFirstSeparator) {
  EXPECT_EQ(SplitAt('=', "a=b=c").before, "a");
  EXPECT_EQ(SplitAt('=', "a=b=c").after, "b=c");
  EXPECT_EQ(SplitAt('=', "a=").after, "");
  EXPECT_EQ(SplitAt('=', "abc").before, "abc");
  EXPECT_EQ(SplitAt('=', "abc").after, std::nullopt);
}

TEST(TextParsingTest, NumbersArePlainDigitsWithinTheirBounds) {
  EXPECT_EQ(ReadNumber("5", 5, 17), 5U);
  EXPECT_EQ(NeedNumber("17", 5, 17, "the size"), 17U);
  for (const std::string text :
       {"4", "18", "", "-6", "+6", "6x", " 6", "0x6", "99999999999999999999"}) {
    EXPECT_EQ(ReadNumber(text, 5, 17), std::nullopt) << text;
    EXPECT_EQ(ComplaintOf([&] { NeedNumber(text, 5, 17, "the size"); }),
              "the size must be a number from 5 to 17");
  }
}

TEST(TextParsingTest, TimesAreANumberOrAlways) {
  EXPECT_EQ(ReadTimes("2"), 2U);
  EXPECT_EQ(ReadTimes("always"), std::nullopt);
  for (const std::string text : {"", "0", "-1", "ever", "2/3", "2x"}) {
    EXPECT_EQ(ComplaintOf([&] { ReadTimes(text); }), kNoTimes) << text;
  }
}

TEST(TextParsingTest, HexByteHasExactlyTwoDigits) {
  EXPECT_EQ(ReadHexByte("4F"), 0x4F);
  EXPECT_EQ(ReadHexByte("fe"), 0xFE);
  for (const std::string text : {"", "4", "4f0", "4g", "-4", "+4"}) {
    EXPECT_EQ(ReadHexByte(text), std::nullopt) << text;
  }
}

TEST(TextParsingTest, EscapesAreReplacedAndOthersRefused) {
  EXPECT_EQ(Unescape(R"(a\r\nb\0c\\d\x1b;\xFF)"), "a\r\nb\0c\\d\x1b;\xff"s);
  EXPECT_EQ(Unescape("plain ;=@/ text"), "plain ;=@/ text");
  EXPECT_EQ(Unescape(""), "");
  EXPECT_EQ(ComplaintOf([] { Unescape(R"(\t)"); }), R"(unknown escape '\t')"s + kNoEscape);
  EXPECT_EQ(ComplaintOf([] { Unescape(R"(end\)"); }), R"(unknown escape '\')"s + kNoEscape);
  for (const std::string text : {R"(\x)", R"(\x1)", R"(\xg0)"}) {
    EXPECT_EQ(ComplaintOf([&text] { Unescape(text); }),
              R"('\x' needs two hexadecimal digits, as in \x1b)");
  }
}

TEST(RequestTest, CodeIsOnePrintableCharacterOrHexadecimal) {
  for (const std::string text : {"s", " ", "~", "0", "=", ":"}) {
    EXPECT_EQ(ParseRequest(text).code, text.front());
    EXPECT_EQ(ParseRequest(text).asked, std::nullopt);
  }
  EXPECT_EQ(ParseRequest("0x41").code, 0x41);
  EXPECT_EQ(ParseRequest("0xfE").code, 0xFE);
  EXPECT_EQ(ParseRequest("0x00").code, 0x00);
}

TEST(RequestTest, PrefixTellsWhoIsAsked) {
  EXPECT_EQ(ParseRequest("application:s").asked, BoardState::kApplication);
  EXPECT_EQ(ParseRequest("bootloader:0x73").asked, BoardState::kBootloader);
  EXPECT_EQ(ParseRequest("bootloader:0x73").code, 's');
}

TEST(RequestTest, AnythingElseIsRefused) {
  for (const std::string text :
       {"", "ab", "0x", "0x1", "0x123", "0xg1", "0X41", "\x7f", "\x1b", "\xe4", "board:s"}) {
    EXPECT_EQ(ComplaintOf([&] { ParseRequest(text); }), "'" + text + "'" + kNoCode);
  }
  EXPECT_EQ(ComplaintOf([] { ParseRequest("application:"); }), "''"s + kNoCode);
  EXPECT_EQ(ComplaintOf([] { ParseRequest("bootloader:ab"); }), "'ab'"s + kNoCode);
}

TEST(RequestTest, CodesHaveNamesToRead) {
  EXPECT_EQ(NameOfCode('z'), "'z'");
  EXPECT_EQ(NameOfCode(' '), "' '");
  EXPECT_EQ(NameOfCode(0x18), "0x18");
  EXPECT_EQ(NameOfCode(0x7F), "0x7f");
  EXPECT_EQ(NameOfCode(0xE4), "0xe4");
}

TEST(GivenAnswerTest, CodeAndTextAreRead) {
  const GivenAnswer answer = ParseGivenAnswer(R"(application:0x41=a=b;\r\n\0)");
  EXPECT_EQ(answer.request.asked, BoardState::kApplication);
  EXPECT_EQ(answer.request.code, 'A');
  EXPECT_EQ(answer.bytes, "a=b;\r\n\0"s);
}

TEST(GivenAnswerTest, MistakesAreTold) {
  EXPECT_EQ(ComplaintOf([] { ParseGivenAnswer("s"); }),
            "answer 's': no '=', expected [application:|bootloader:]CODE=TEXT");
  EXPECT_EQ(ComplaintOf([] { ParseGivenAnswer("ab=c"); }), "answer 'ab=c': 'ab'"s + kNoCode);
  EXPECT_EQ(ComplaintOf([] { ParseGivenAnswer(R"(s=\q)"); }),
            R"(answer 's=\q': unknown escape '\q')"s + kNoEscape);
}

TEST(AskAgainTest, WordRequestAndTimesAreRead) {
  const AskAgain again = ParseAskAgain(R"(I \x40 can@bootloader:0x73/17)");
  EXPECT_EQ(again.word, "I @ can");
  EXPECT_EQ(again.request.asked, BoardState::kBootloader);
  EXPECT_EQ(again.request.code, 's');
  EXPECT_EQ(again.times, 17U);
  EXPECT_EQ(again.text, R"(I \x40 can@bootloader:0x73/17)");
  EXPECT_EQ(ParseAskAgain("can@s").times, 1U);
  EXPECT_EQ(ParseAskAgain("can@s/always").times, std::nullopt);
}

TEST(AskAgainTest, MistakesAreTold) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"", "expected WORD@[application:|bootloader:]CODE[/TIMES]"},
      {"can", "expected WORD@[application:|bootloader:]CODE[/TIMES]"},
      {"@s", "expected WORD@[application:|bootloader:]CODE[/TIMES]"},
      {"can@", "''"s + kNoCode},
      {"can@sh", "'sh'"s + kNoCode},
      {"can@s/0", kNoTimes},
      {"can@s/1/2", kNoTimes},
      {R"(\q@s)", R"(unknown escape '\q')"s + kNoEscape}};
  for (const auto& [text, complaint] : rows) {
    EXPECT_EQ(ComplaintOf([&text = text] { ParseAskAgain(text); }), "'" + text + "': " + complaint);
  }
}

TEST(FaultTest, ActionPlaceAndTimesAreRead) {
  struct Row {
    std::string text;
    FaultAction action;
    Place place;
    std::optional<std::uint32_t> times;
  };
  const std::vector<Row> rows = {
      {"nak@start", FaultAction::kNak, {PlaceKind::kStart, 0}, 1},
      {"c@packet0/1", FaultAction::kAskAgain, {PlaceKind::kPacketZero, 0}, 1},
      {"can@block:1/17", FaultAction::kCancel, {PlaceKind::kBlock, 1}, 17},
      {"byte=46@block:300", FaultAction::kByte, {PlaceKind::kBlock, 300}, 1},
      {"silence@eot/always", FaultAction::kSilence, {PlaceKind::kEndOfFile, 0}, std::nullopt},
      {"late=250@closing", FaultAction::kLate, {PlaceKind::kClosing, 0}, 1},
      {"lost-ack@verdict", FaultAction::kLostAck, {PlaceKind::kVerdict, 0}, 1},
      {"double-ack@eot", FaultAction::kDoubleAck, {PlaceKind::kEndOfFile, 0}, 1},
      {"hangup@eot", FaultAction::kHangUp, {PlaceKind::kEndOfFile, 0}, 1},
  };
  for (const Row& row : rows) {
    const Fault fault = ParseFault(row.text);
    EXPECT_EQ(fault.action, row.action) << row.text;
    EXPECT_EQ(fault.place, row.place) << row.text;
    EXPECT_EQ(fault.times, row.times) << row.text;
    EXPECT_EQ(fault.text, row.text);
  }
  EXPECT_EQ(ParseFault("byte=4F@verdict").byte, 0x4F);
  EXPECT_EQ(ParseFault("late=0@verdict").delay, milliseconds(0));
  EXPECT_EQ(ParseFault("late=3600000@verdict").delay, milliseconds(3'600'000));
}

TEST(FaultTest, MistakesAreTold) {
  const std::string no_action =
      ", there are: nak, c, can, byte, silence, late, lost-ack, double-ack, hangup";
  const std::string no_place = ", there are: start, packet0, block, eot, closing, verdict";
  const std::string no_at = "no '@', expected ACTION@PLACE[/TIMES]";
  const std::string no_byte = "'byte' needs two hexadecimal digits, as in byte=46";
  const std::string no_time = "the milliseconds of 'late' must be a number from 0 to 3600000";
  const std::string no_block = "the number of the block must be a number from 1 to 4294967295";
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"", no_at},
      {"nak", no_at},
      {"ack@eot", "unknown action 'ack'" + no_action},
      {"NAK@eot", "unknown action 'NAK'" + no_action},
      {" nak@eot", "unknown action ' nak'" + no_action},
      {"@eot", "unknown action ''" + no_action},
      {"nak@", "unknown place ''" + no_place},
      {"nak@end", "unknown place 'end'" + no_place},
      {"byte@eot", no_byte},
      {"byte=4g@eot", no_byte},
      {"late@eot", no_time},
      {"late=1s@eot", no_time},
      {"late=3600001@eot", no_time},
      {"nak=1@eot", "'nak' takes no value"},
      {"hangup=@eot", "'hangup' takes no value"},
      {"nak@block", no_block},
      {"nak@block:0", no_block},
      {"nak@block:4294967296", no_block},
      {"nak@eot:1", "'eot' takes no number"},
      {"nak@eot/", kNoTimes},
      {"nak@eot/2/3", kNoTimes},
      {"c@start", "at the start 'C' is the right answer, this fault would change nothing"}};
  for (const auto& [text, complaint] : rows) {
    EXPECT_EQ(ComplaintOf([&text = text] { ParseFault(text); }),
              "fault '" + text + "': " + complaint);
  }
}

}  // namespace
}  // namespace kvo::boardsimulator
