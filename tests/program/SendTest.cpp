// The send mode on the real program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "program/UploadTexts.h"
#include "program/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using ::testing::AnyOf;

struct SendRow {
  const char* name;
  const char* typed;
  std::string byte;
  std::string answer;
  std::string printed;
};

void PrintTo(const SendRow& row, std::ostream* out) { *out << row.name; }

std::string NameOf(const ::testing::TestParamInfo<SendRow>& row) { return row.param.name; }

class Send : public UtilityOnALine, public ::testing::WithParamInterface<SendRow> {};

TEST_P(Send, PrintsTheAnswerAlone) {
  Start({"--send", GetParam().typed});
  BoardPlays({{GetParam().byte, GetParam().answer}});
  ExpectSuccess(GetParam().printed);
  EXPECT_GE(RunTime(), 100ms);
}

TEST_P(Send, VerboseSaysOkBehindTheAnswer) {
  Start({"--send", GetParam().typed, "--verbose"});
  BoardPlays({{GetParam().byte, GetParam().answer}});
  ExpectSuccess(kEntering + "\nSend CMD (" + GetParam().typed + ")..." + GetParam().printed +
                " [OK]\n" + kExiting);
}

INSTANTIATE_TEST_SUITE_P(
    SendTest, Send,
    ::testing::Values(SendRow{"AHexadecimalByte", "41", "A", "answer", "answer\n"},
                      SendRow{"APrefixedByte", "0x73", "s", "S1\r\n", "S1\n"},
                      SendRow{"TheLowByteOfALongerNumber", "141", "A", "\rin\n two\0 lines\r\n"s,
                              "in two lines\n"},
                      SendRow{"TheHighestByte", "0x1FF", "\xFF", "255", "255\n"},
                      SendRow{"ANegativeNumber", "-1", "\xFF", "U1", "U1\n"},
                      SendRow{"AByteOfZero", "0", "\0"s, "UU", "UU\n"},
                      SendRow{"ADigitThatIsAlsoATypedLetter", "b", "\v", "u", "u\n"},
                      SendRow{"AnAnswerWithASemicolon", "31", "1", ";", ";\n"},
                      SendRow{"NoAnswer", "0x7A", "z", "", "\n"}),
    NameOf);

class SendTest : public UtilityOnALine {};

TEST_F(SendTest, AnUnknownByteIsAnErrorWithoutAMark) {
  Start({"--send", "41", "--verbose"});
  BoardPlays({{"A", "U\r\n"}});
  ExpectFailure(kEntering + "\nSend CMD (41)...", "Invalid command. Exiting");
}

TEST_F(SendTest, AQuietUnknownByteIsTheErrorAlone) {
  Start({"--send", "41"});
  BoardPlays({{"A", "\r\nU\0"s}});
  ExpectFailure("", "Invalid command. Exiting");
}

TEST_F(SendTest, ComesBeforeTheApplicationInformationAndIgnoresTheModifiers) {
  Start({"--application_info", "--send", "41", "--active_bootloader", "--active_application"});
  BoardPlays({{"A", "x"}});
  ExpectSuccess("x\n");
}

TEST_F(SendTest, WithoutAByteIsAnErrorWithoutAMark) {
  Start({"--verbose", "--send"});
  ExpectFailure(kEntering, "No command specified to send. Exiting");
}

TEST_F(SendTest, AByteThatIsNoNumberIsAnErrorWithoutAMark) {
  Start({"--send", "zz", "--verbose"});
  ExpectFailure(kEntering, "Invalid command to send : zz");
}

// The read finds a line that has vanished already silent, and fails on one that vanishes meanwhile.
TEST_F(SendTest, ALineThatVanishesIsSilenceOrASystemErrorWithoutAMark) {
  Start({"--send", "41", "--verbose"});
  BoardGets("A");
  terminal_.HangUp();
  const std::string sent = kEntering + "\nSend CMD (41)...";
  EXPECT_THAT(End().output, AnyOf(sent + "\n [OK]\n" + kExiting, sent + Failure("Bad address")));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
