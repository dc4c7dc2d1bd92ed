#include "simulator/Board.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;

// Runs a board through the script in line_, which begins in the bootloader if not told otherwise.
class BoardTest : public testing::Test {
 protected:
  BoardTest() {
    settings_.names = {"TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"};
    settings_.state = BoardState::kBootloader;
  }

  void Run() {
    ByteStream stream(line_);
    auto record = std::make_unique<std::ostringstream>();
    const std::ostringstream& written = *record;
    Trace trace(std::move(record), line_.Now());
    const ImageKeeper keeper = [this](std::span<const std::uint8_t> image) { Keep(image); };
    Board board(stream, settings_, faults_, keeper, trace, complaints_);
    EXPECT_THROW(board.Serve(), ServingEnded);
    trace_ = written.str();
  }
  void Keep(std::span<const std::uint8_t> image) {
    if (keeper_fails_) throw std::runtime_error("the flash is full");
    kept_.emplace_back(image.begin(), image.end());
  }
  void Fault(std::string_view text) { faults_.push_back(ParseFault(text)); }
  ScriptedLine& Arrive(std::string_view commands) { return line_.Arrive(FromText(commands)); }
  // A byte each 100 ms, beginning with a pause.
  void ArriveSlowly(std::string_view bytes) {
    for (const char byte : bytes) line_.Pause(100).Arrive({static_cast<std::uint8_t>(byte)});
  }
  void ArriveUpload(std::string_view length, int blocks) {
    Arrive("1").Arrive(Packet(0, PacketZeroData(length)));
    for (int number = 1; number <= blocks; ++number) {
      line_.Arrive(Packet(static_cast<std::uint8_t>(number), Pattern(1024)));
    }
    line_.Arrive(FromHex("04")).Arrive(ClosingPacket());
  }
  // Lets the board start its application, which then answers a ping if it runs.
  void ArriveStartOfApplication() { Arrive("6").Pause(1000).Arrive(FromText("0")); }
  std::string SentText() const {
    const Bytes sent = line_.Sent();
    return {sent.begin(), sent.end()};
  }
  std::string SentHex() const { return ToHex(line_.Sent()); }
  void Give(std::string_view answer) { settings_.answers.Give(ParseGivenAnswer(answer)); }

  ScriptedLine line_;
  BoardSettings settings_;
  std::vector<kvo::boardsimulator::Fault> faults_;
  std::vector<Bytes> kept_;
  bool keeper_fails_ = false;
  std::ostringstream complaints_;
  std::string trace_;
};

TEST_F(BoardTest, ApplicationAnswersPings) {
  settings_.state = BoardState::kApplication;
  Arrive("00");
  Run();
  EXPECT_EQ(SentText(), "ping_callback_function\r\nping_callback_function\r\n");
  EXPECT_EQ(line_.Answers().size(), 2U) << "each answer must come in one piece";
}

TEST_F(BoardTest, ApplicationIgnoresOtherBytes) {
  settings_.state = BoardState::kApplication;
  line_.Arrive(FromText("1A6UC")).Arrive(FromHex("00 18 ff 01"));
  Run();
  EXPECT_EQ(SentText(), "");
}

TEST_F(BoardTest, BootloaderAnswersPings) {
  Arrive("0");
  Run();
  EXPECT_EQ(SentText(), "A");
}

TEST_F(BoardTest, BootloaderIgnoresCancel) {
  line_.Arrive(FromHex("18 18 30"));
  Run();
  EXPECT_EQ(SentText(), "A");
}

TEST_F(BoardTest, BootloaderDoesNotKnowOtherBytes) {
  line_.Arrive(FromText("Qz")).Arrive(FromHex("00 01"));
  Run();
  EXPECT_EQ(SentText(), "U\r\nU\r\nU\r\nU\r\n");
}

TEST_F(BoardTest, UnknownCodesStandInTheTrace) {
  settings_.state = BoardState::kApplication;
  Arrive("zQ").Pause(1000).Arrive(FromHex("07"));
  Run();
  EXPECT_EQ(trace_,
            "   0.000000 # application runs\n"
            "   0.000000 # unknown code 'z'\n"
            "   0.200000 # bootloader started\n"
            "   1.000000 # unknown code 0x07\n");
}

TEST_F(BoardTest, ApplicationAnswersQuestions) {
  settings_.state = BoardState::kApplication;
  Arrive("bshpVv789");
  Run();
  EXPECT_EQ(SentText(), "BOOT_NORMAL\r\nSN000042\r\nHW-R3\r\nKVO-TMS\r\nV2.10\r\nv1.04\r\n");
}

TEST_F(BoardTest, BootloaderAnswersQuestions) {
  Arrive("789shpVvb");
  Run();
  EXPECT_EQ(SentText(),
            "HW-INFO R3\r\nBL-INFO 1.2\r\nAPP-INFO 2.10\r\n"
            "SN000042\r\nHW-R3\r\nKVO-TMS\r\nV2.10\r\nv1.04\r\nBOOT_NORMAL\r\n");
}

TEST_F(BoardTest, GivenAnswerReplacesPingAndQuestion) {
  Give("0=B");
  Give("s=SN;");
  Arrive("0s");
  Run();
  EXPECT_EQ(SentText(), "BSN;");
}

TEST_F(BoardTest, GivenAnswerReplacesAnAction) {
  Give("1=F");
  Give("6=");
  Arrive("16").Pause(1000).Arrive(FromText("0"));
  Run();
  EXPECT_EQ(SentText(), "FA");
}

TEST_F(BoardTest, ApplicationGoesOnIfTheSwitchIsAnsweredOtherwise) {
  settings_.state = BoardState::kApplication;
  Give("application:Q=");
  Arrive("Q").Pause(1000).Arrive(FromText("0"));
  Run();
  EXPECT_EQ(SentText(), "ping_callback_function\r\n");
}

TEST_F(BoardTest, GivenAnswerIsNoUnknownCode) {
  Give("z=");
  Arrive("z0");
  Run();
  EXPECT_EQ(SentText(), "A");
}

TEST_F(BoardTest, CodesMayBeMadeUnknownToTheBootloader) {
  settings_.answers.MakeUnknown("h0\x31\x18");
  line_.Arrive(FromText("h01s")).Arrive(FromHex("18"));
  Run();
  EXPECT_EQ(SentText(), "U\r\nU\r\nU\r\nSN000042\r\nU\r\n");
}

TEST_F(BoardTest, CodesMayBeMadeUnknownToTheApplication) {
  settings_.state = BoardState::kApplication;
  settings_.answers.MakeUnknown("hQ");
  Arrive("hQ").Pause(1000).Arrive(FromText("s0"));
  Run();
  EXPECT_EQ(SentText(), "SN000042\r\nping_callback_function\r\n");
}

TEST_F(BoardTest, FirstRequestsMayBeAnsweredByWordsToAskAgain) {
  settings_.ask_again = {ParseAskAgain("Cannot@s/2"), ParseAskAgain("scan@s"),
                         ParseAskAgain("signature@application:h/always")};
  Arrive("sshsss");
  Run();
  EXPECT_EQ(SentText(), "Cannot\r\nCannot\r\nHW-R3\r\nscan\r\nSN000042\r\nSN000042\r\n");
  EXPECT_EQ(trace_,
            "   0.000000 # bootloader runs\n"
            "   0.000000 # ask again Cannot@s/2\n"
            "   0.000000 # ask again Cannot@s/2\n"
            "   0.000000 # ask again scan@s\n");
}

TEST_F(BoardTest, WordsToAskAgainComeBeforeAllElse) {
  settings_.ask_again = {ParseAskAgain("can@s"), ParseAskAgain("can@h"), ParseAskAgain("can@6")};
  settings_.answers.MakeUnknown("h");
  Give("s=SN8");
  Arrive("ss").Arrive(FromText("hh60"));
  Run();
  EXPECT_EQ(SentText(), "can\r\nSN8can\r\nU\r\ncan\r\nA");
}

TEST_F(BoardTest, ApplicationCalibratesAndGoesOn) {
  settings_.state = BoardState::kApplication;
  settings_.calibration.lines = 1;
  Arrive("K").Pause(100).Arrive(FromText("0")).Pause(500).Arrive(FromText("s"));
  Run();
  EXPECT_EQ(SentText(), "KVO_CMD_CALIBRATE\r\ncalibration step 1\r\n---\r\nSN000042\r\n");
}

TEST_F(BoardTest, BootloaderDoesNotCalibrate) {
  Arrive("K");
  Run();
  EXPECT_EQ(SentText(), "U\r\n");
}

TEST_F(BoardTest, LineEndFollowsTextsButNotThePingOfTheBootloader) {
  settings_.manner.line_end = "\n";
  Arrive("0zs60").Pause(1000).Arrive(FromText("0"));
  Run();
  EXPECT_EQ(SentText(), "AU\nSN000042\nping_callback_function\n");
}

TEST_F(BoardTest, WhatArrivesBeforeALateAnswerIsReadAfterIt) {
  settings_.manner.delay = milliseconds(150);
  Arrive("0").Pause(50).Arrive(FromText("z"));
  Run();
  EXPECT_EQ(SentText(), "AU\r\n");
  EXPECT_EQ(line_.AnswerTimes(), (std::vector<std::int64_t>{150, 300}));
}

TEST_F(BoardTest, UploadIsNeitherDelayedNorInPieces) {
  settings_.manner.delay = milliseconds(150);
  settings_.manner.piece_size = 1;
  ArriveUpload("1024", 1);
  Run();
  EXPECT_EQ(SentHex(), "43 06 43 06 06 43 06 4f");
  EXPECT_EQ(line_.NowInMs(), 0);
  EXPECT_EQ(line_.Answers().at(1).bytes, FromHex("06 43"));
}

TEST_F(BoardTest, ApplicationHandsOverToTheBootloader) {
  settings_.state = BoardState::kApplication;
  Arrive("Q").Pause(300).Arrive(FromText("0"));
  Run();
  EXPECT_EQ(SentText(), "A");
}

TEST_F(BoardTest, BootloaderStartsTheApplication) {
  ArriveStartOfApplication();
  Run();
  EXPECT_EQ(SentText(), "ping_callback_function\r\n");
}

TEST_F(BoardTest, BytesDuringASwitchAreLost) {
  settings_.state = BoardState::kApplication;
  settings_.switch_time = milliseconds(500);
  Arrive("Q00").Pause(499).Arrive(FromText("0")).Pause(2).Arrive(FromText("0"));
  Run();
  EXPECT_EQ(SentText(), "A");
  EXPECT_EQ(line_.AnswerTimes(), std::vector<std::int64_t>{501});
}

TEST_F(BoardTest, SwitchWithoutTimeLosesNothing) {
  settings_.state = BoardState::kApplication;
  settings_.switch_time = milliseconds(0);
  Arrive("Q060");
  Run();
  EXPECT_EQ(SentText(), "Aping_callback_function\r\n");
}

TEST_F(BoardTest, ApplicationGoesOnAfterItRestoredItsDefaults) {
  settings_.state = BoardState::kApplication;
  settings_.silent_pings = 1;
  settings_.answers.SetText('s', "S1");
  Arrive("00");
  ArriveSlowly("Q6tCRL");
  Arrive("0s");
  Run();
  EXPECT_EQ(SentText(), "ping_callback_function\r\nping_callback_function\r\nS1\r\n");
  EXPECT_EQ(trace_,
            "   0.000000 # application runs\n"
            "   0.600000 # default parameters restored, gaps in ms: 100 100 100 100 100\n");
}

TEST_F(BoardTest, DefaultsAreRestoredAlsoWhenTheSwitchTakesNoTime) {
  settings_.state = BoardState::kApplication;
  settings_.switch_time = milliseconds(0);
  ArriveSlowly("Q6tCRL");
  Arrive("0");
  Run();
  EXPECT_EQ(SentText(), "ping_callback_function\r\n");
  EXPECT_EQ(trace_,
            "   0.000000 # application runs\n"
            "   0.100000 # bootloader started\n"
            "   0.600000 # default parameters restored, gaps in ms: 100 100 100 100 100\n"
            "   0.600000 # application runs again\n");
}

TEST_F(BoardTest, BrokenRestoreSequenceIsASwitchToTheBootloader) {
  settings_.state = BoardState::kApplication;
  ArriveSlowly("Q6tXRL0");
  Run();
  EXPECT_EQ(SentText(), "U\r\nU\r\nA");
  EXPECT_EQ(trace_,
            "   0.000000 # application runs\n"
            "   0.400000 # default parameters not restored: 'X' in place of 'C'\n"
            "   0.400000 # bootloader started\n"
            "   0.500000 # unknown code 'R'\n"
            "   0.600000 # unknown code 'L'\n");
}

TEST_F(BoardTest, SequenceThatBreaksDuringTheSwitchLosesWhatComesInIt) {
  settings_.state = BoardState::kApplication;
  Arrive("Q6tCRL0").Pause(199).Arrive(FromText("0")).Pause(2).Arrive(FromText("0"));
  Run();
  EXPECT_EQ(SentText(), "A");
  EXPECT_EQ(line_.AnswerTimes(), std::vector<std::int64_t>{201});
}

TEST_F(BoardTest, ByteAfterTheSwitchIsAnsweredAtOnce) {
  settings_.state = BoardState::kApplication;
  Arrive("Q").Pause(201).Arrive(FromText("0"));
  Run();
  EXPECT_EQ(SentText(), "A");
  EXPECT_EQ(line_.AnswerTimes(), std::vector<std::int64_t>{201});
}

TEST_F(BoardTest, BootloaderStartsTheApplicationOnceTheRestoreSequenceCannotBegin) {
  settings_.state = BoardState::kApplication;
  Arrive("Q").Pause(501).Arrive(FromText("6")).Pause(1000).Arrive(FromText("0"));
  Run();
  EXPECT_EQ(SentText(), "ping_callback_function\r\n");
  EXPECT_EQ(trace_,
            "   0.000000 # application runs\n"
            "   0.200000 # bootloader started\n"
            "   0.701000 # application started\n");
}

TEST_F(BoardTest, BootloaderHasNoDefaultsToRestore) {
  ArriveSlowly("Q6tCRL");
  Arrive("0");
  Run();
  EXPECT_EQ(SentText(), "U\r\nping_callback_function\r\n");
}

TEST_F(BoardTest, FirstPingsAfterStartAndSwitchMayStayUnanswered) {
  settings_.silent_pings = 2;
  Arrive("0000").Arrive(FromText("6")).Pause(1000).Arrive(FromText("000"));
  Run();
  EXPECT_EQ(SentText(), "AAping_callback_function\r\n");
}

TEST_F(BoardTest, GoodImageIsKeptAndApproved) {
  ArriveUpload("1025", 2);
  Arrive("0");
  Run();
  EXPECT_EQ(SentHex(), "43 06 43 06 06 06 43 06 4f 41");
  EXPECT_THAT(kept_, testing::ElementsAre(Pattern(1024) + Bytes{0x00}));
}

TEST_F(BoardTest, ImageOfTheWrongLengthIsDisapproved) {
  ArriveUpload("1025", 1);
  Run();
  EXPECT_EQ(SentHex(), "43 06 43 06 06 43 06 45");
  EXPECT_TRUE(kept_.empty());
}

TEST_F(BoardTest, ImageThatCannotBeKeptIsDisapproved) {
  keeper_fails_ = true;
  ArriveUpload("1024", 1);
  Run();
  EXPECT_EQ(SentHex(), "43 06 43 06 06 43 06 45");
  EXPECT_EQ(complaints_.str(), "the flash is full\n");
}

TEST_F(BoardTest, ApplicationStartsAfterAGoodUpload) {
  ArriveUpload("1024", 1);
  ArriveStartOfApplication();
  Run();
  EXPECT_THAT(SentText(), testing::EndsWith("Oping_callback_function\r\n"));
}

TEST_F(BoardTest, ApplicationDoesNotStartAfterABadUpload) {
  ArriveUpload("2000", 1);
  ArriveStartOfApplication();
  Run();
  EXPECT_THAT(SentText(), testing::EndsWith("EA"));
}

TEST_F(BoardTest, ApplicationDoesNotStartAfterABrokenUpload) {
  Arrive("1")
      .Arrive(Packet(0, PacketZeroData("2048")))
      .Arrive(Packet(1, Pattern(1024)))
      .Pause(5000);
  ArriveStartOfApplication();
  Run();
  EXPECT_EQ(SentHex(), "43 06 43 06 41");
}

TEST_F(BoardTest, ApplicationSurvivesAnUploadThatEndsBeforeItsFirstBlock) {
  Arrive("1").Arrive(Packet(0, PacketZeroData("2048"))).Arrive(FromHex("18 18"));
  ArriveStartOfApplication();
  Run();
  EXPECT_EQ(SentHex().substr(0, 8), "43 06 43");
  EXPECT_THAT(SentText(), testing::EndsWith("ping_callback_function\r\n"));
}

TEST_F(BoardTest, GoodUploadRepairsTheApplication) {
  ArriveUpload("2000", 1);
  ArriveUpload("1024", 1);
  ArriveStartOfApplication();
  Run();
  EXPECT_THAT(SentText(), testing::EndsWith("ping_callback_function\r\n"));
}

TEST_F(BoardTest, FailedStartOfReceivingReturnsToTheCommands) {
  Fault("byte=46@start");
  Arrive("10");
  Run();
  EXPECT_EQ(SentText(), "FA");
}

TEST_F(BoardTest, RepeatedClosingPacketIsAnsweredWithTheVerdictAgain) {
  ArriveUpload("1024", 1);
  line_.Pause(100).Arrive(ClosingPacket()).Pause(2900).Arrive(ClosingPacket());
  Arrive("0");
  Run();
  EXPECT_EQ(SentHex(), "43 06 43 06 06 43 06 4f 06 4f 06 4f 41");
  EXPECT_EQ(kept_.size(), 1U);
}

TEST_F(BoardTest, ClosingPacketAfterAnotherCommandIsNotKnown) {
  ArriveUpload("1024", 1);
  Arrive("0").Arrive(FromHex("01"));
  Run();
  EXPECT_EQ(SentHex(), "43 06 43 06 06 43 06 4f 41 55 0d 0a");
}

TEST_F(BoardTest, ClosingPacketLongAfterTheVerdictIsNotKnown) {
  ArriveUpload("1024", 1);
  line_.Pause(3000).Arrive(FromHex("01"));
  Run();
  EXPECT_EQ(SentHex(), "43 06 43 06 06 43 06 4f 55 0d 0a");
}

TEST_F(BoardTest, LostAckOfTheClosingPacketLeavesTheVerdict) {
  Fault("lost-ack@closing");
  ArriveUpload("1024", 1);
  Run();
  EXPECT_EQ(SentHex(), "43 06 43 06 06 43 4f");
}

TEST_F(BoardTest, VerdictReplacedByAFaultLeavesTheApplicationInvalid) {
  Fault("byte=6f@verdict");
  ArriveUpload("1024", 1);
  ArriveStartOfApplication();
  Run();
  EXPECT_THAT(SentText(), testing::EndsWith("oA"));
  EXPECT_EQ(kept_.size(), 1U);
}

TEST_F(BoardTest, LateVerdictIsAGoodOne) {
  Fault("late=80@verdict");
  ArriveUpload("1024", 1);
  ArriveStartOfApplication();
  Run();
  EXPECT_THAT(SentText(), testing::EndsWith("Oping_callback_function\r\n"));
  EXPECT_EQ(line_.Answers().at(5).at_ms, 80);
}

TEST_F(BoardTest, VerdictMayBeSilenced) {
  Fault("silence@verdict");
  ArriveUpload("1024", 1);
  Arrive("0");
  Run();
  EXPECT_EQ(SentHex(), "43 06 43 06 06 43 06 41");
}

}  // namespace
}  // namespace kvo::boardsimulator
