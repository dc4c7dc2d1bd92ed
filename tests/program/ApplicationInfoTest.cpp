// The application-information mode on the real program.
#include <gtest/gtest.h>

#include <string>

#include "program/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

const std::string kAlive = "ping_callback_function\r\n";
constexpr const char* kInvalidResponse =
    "Invalid response (bootloader is probably not activated or command is not implemented). "
    "Exiting";

class ApplicationInfoTest : public UtilityOnALine {};

TEST_F(ApplicationInfoTest, IsPrintedAndTheApplicationStarted) {
  Start({"--application_info", "--no_active_bootloader"});
  BoardPlays({{"9", "APP 2.0\r\n"}, {"6", ""}, {"0", kAlive}});
  ExpectSuccess("APP 2.0\r\n\0\n"s);
  EXPECT_GE(RunTime(), 1150ms);
}

TEST_F(ApplicationInfoTest, TheBootloaderIsActivatedBeforeWhereAskedFor) {
  Start({"--application_info", "--active_bootloader"});
  BoardPlays({{"Q", ""},
              {"\x18\x18", ""},
              {"0", "A"},
              {"9", "APP 2.0"},
              {"6", ""},
              {"0", ""},
              {"0", kAlive}});
  ExpectSuccess("APP 2.0\0\n"s);
  EXPECT_GE(RunTime(), 2300ms);
}

TEST_F(ApplicationInfoTest, VerboseTellsOfTheActivationAndHasNoOk) {
  Start({"--application_info", "--active_bootloader", "--verbose"});
  BoardPlays({{"Q", ""}, {"\x18\x18", ""}, {"0", "A"}, {"9", "APP 2.0"}, {"6", ""}, {"0", kAlive}});
  ExpectSuccess(kEntering + "Active bootloader ... APP 2.0\0\n"s + kExiting);
}

TEST_F(ApplicationInfoTest, VerboseWithoutActivationTellsOfNone) {
  Start({"--application_info", "--verbose", "--active_application"});
  BoardPlays({{"9", "APP 2.0"}, {"6", ""}, {"0", kAlive}});
  ExpectSuccess(kEntering + "APP 2.0\0\n"s + kExiting);
}

TEST_F(ApplicationInfoTest, ASilentBootloaderIsAskedNothing) {
  Start({"--application_info", "--active_bootloader", "--verbose"});
  BoardPlays({{"Q", ""}, {"\x18\x18", ""}, {"000000000", ""}});
  ExpectFailure(kEntering + "Active bootloader ... ", "Bootloader doesn't respond. Exiting");
}

TEST_F(ApplicationInfoTest, WithoutAnAnswerTheApplicationIsNotStarted) {
  Start({"--application_info", "--verbose"});
  BoardPlays({{"9", ""}});
  ExpectFailure(kEntering, kInvalidResponse);
}

TEST_F(ApplicationInfoTest, AnAnswerWithASemicolonIsInvalid) {
  Start({"--application_info", "--x"});
  BoardPlays({{"9", "APP;2.0"}});
  ExpectFailure("", kInvalidResponse);
}

TEST_F(ApplicationInfoTest, AnApplicationThatDoesNotStartIsAnErrorBehindTheAnswer) {
  Start({"--application_info", "--x"});
  BoardPlays({{"9", "APP 2.0"}, {"6", ""}, {std::string(60, '0'), ""}});
  ExpectFailure("APP 2.0\0\n"s, "Application doesn't respond. Exiting");
}

TEST_F(ApplicationInfoTest, WhatCameBeforeTheQuestionIsNoAnswer) {
  Start({"--application_info", "--active_bootloader"});
  BoardPlays(
      {{"Q", ""}, {"\x18\x18", ""}, {"0", "A;stale"}, {"9", "new"}, {"6", ""}, {"0", kAlive}});
  ExpectSuccess("new\0\n"s);
}

TEST_F(ApplicationInfoTest, ALineThatVanishesIsASystemErrorWithoutAMark) {
  Start({"--application_info", "--active_bootloader", "--verbose"});
  BoardGets("Q");
  terminal_.HangUp();
  ExpectFailure(kEntering + "Active bootloader ... ", "Bad address");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
