#include "simulator/Board.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;
using testing::EndsWith;
using namespace std::string_literals;

// Runs a board through the script in line_, which begins in the bootloader if not told otherwise.
class BoardTest : public OnScriptedLine {
 protected:
  BoardTest() {
    settings_.names = {"TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"};
    settings_.state = BoardState::kBootloader;
  }

  // All that the board sends.
  std::string Run() {
    const ImageKeeper keeper = [this](std::span<const std::uint8_t> image) { Keep(image); };
    Board board(stream_, settings_, faults_, keeper, trace_, complaints_);
    EXPECT_THROW(board.Serve(), ServingEnded);
    return line_.SentText();
  }
  std::string RunInHex() { return ToHex(FromText(Run())); }
  std::string AnswersTo(std::string_view requests) {
    Arrive(requests);
    return Run();
  }
  void Keep(std::span<const std::uint8_t> image) {
    if (keeper_fails_) {
      throw std::runtime_error("the flash is full");
    }
    kept_.emplace_back(image.begin(), image.end());
  }
  void Fault(std::string_view text) { faults_.push_back(ParseFault(text)); }
  ScriptedLine& Arrive(std::string_view requests) { return line_.Arrive(FromText(requests)); }
  // A byte every 100 ms, beginning with a pause.
  void ArriveSlowly(std::string_view bytes) {
    for (const char byte : bytes) {
      line_.Pause(100).Arrive({static_cast<std::uint8_t>(byte)});
    }
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
  void Give(std::string_view answer) { settings_.answers.Give(ParseGivenAnswer(answer)); }

  BoardSettings settings_;
  std::vector<kvo::boardsimulator::Fault> faults_;
  std::vector<Bytes> kept_;
  bool keeper_fails_ = false;
  std::ostringstream complaints_;
};

class ApplicationTest : public BoardTest {
 protected:
  ApplicationTest() { settings_.state = BoardState::kApplication; }
};

// All byte values but these.
std::string AllBut(std::string_view codes) {
  std::string others;
  for (int value = 0; value < 256; ++value) {
    const auto code = static_cast<char>(value);
    if (codes.find(code) == std::string_view::npos) {
      others += code;
    }
  }
  return others;
}

TEST_F(ApplicationTest, AnswersPingsAndQuestionsAndIgnoresAllElseButItsActions) {
  EXPECT_EQ(AnswersTo("0bshpVv" + AllBut("0bshpVvKQ") + "0"),
            "ping_callback_function\r\nBOOT_NORMAL\r\nSN000042\r\nHW-R3\r\nKVO-TMS\r\nV2.10\r\n"
            "v1.04\r\nping_callback_function\r\n");
}

TEST_F(BoardTest, AnswersPingsAndQuestionsAndIgnoresCancel) {
  EXPECT_EQ(AnswersTo("0789shpVvbz\x18\x18z"),
            "AHW-INFO R3\r\nBL-INFO 1.2\r\nAPP-INFO 2.10\r\n"
            "SN000042\r\nHW-R3\r\nKVO-TMS\r\nV2.10\r\nv1.04\r\nBOOT_NORMAL\r\nU\r\nU\r\n");
}

TEST_F(BoardTest, DoesNotKnowAnyOtherByte) {
  const std::string others = AllBut("0789shpVvb16\x18");
  std::string answers;
  for (std::size_t count = 0; count < others.size(); ++count) {
    answers += "U\r\n";
  }
  EXPECT_EQ(AnswersTo(others), answers);
}

TEST_F(ApplicationTest, UnknownCodesStandInTheTrace) {
  Arrive("zQ").Pause(1000).Arrive(FromHex("07"));
  Run();
  EXPECT_EQ(trace_.Text(),
            "   0.000000 # application runs\n"
            "   0.000000 # unknown code 'z'\n"
            "   0.200000 # bootloader started\n"
            "   1.000000 # unknown code 0x07\n");
}

TEST_F(BoardTest, GivenAnswerReplacesPingQuestionActionAndUnknownCode) {
  for (const std::string_view answer : {"0=B", "s=SN;", "1=F", "6=", "z="}) {
    Give(answer);
  }
  Arrive("0s16z").Pause(1000).Arrive(FromText("0"));
  EXPECT_EQ(Run(), "BSN;FB");
}

TEST_F(ApplicationTest, GoesOnIfTheSwitchIsAnsweredOtherwise) {
  Give("application:Q=");
  Arrive("Q").Pause(1000).Arrive(FromText("0"));
  EXPECT_EQ(Run(), "ping_callback_function\r\n");
}

TEST_F(BoardTest, CodesMayBeMadeUnknown) {
  settings_.answers.MakeUnknown("h0\x31\x18");
  EXPECT_EQ(AnswersTo("h01s\x18"), "U\r\nU\r\nU\r\nSN000042\r\nU\r\n");
}

TEST_F(ApplicationTest, CodesMayBeMadeUnknown) {
  settings_.answers.MakeUnknown("hQ");
  Arrive("hQ").Pause(1000).Arrive(FromText("s0"));
  EXPECT_EQ(Run(), "SN000042\r\nping_callback_function\r\n");
}

TEST_F(BoardTest, FirstRequestsMayBeAnsweredByWordsToAskAgain) {
  settings_.ask_again = {ParseAskAgain("Cannot@s/2"), ParseAskAgain("scan@s"),
                         ParseAskAgain("signature@application:h/always")};
  EXPECT_EQ(AnswersTo("sshsss"), "Cannot\r\nCannot\r\nHW-R3\r\nscan\r\nSN000042\r\nSN000042\r\n");
  EXPECT_EQ(trace_.Text(),
            "   0.000000 # bootloader runs\n"
            "   0.000000 # ask again Cannot@s/2\n"
            "   0.000000 # ask again Cannot@s/2\n"
            "   0.000000 # ask again scan@s\n");
}

TEST_F(BoardTest, WordsToAskAgainComeBeforeAllElse) {
  settings_.ask_again = {ParseAskAgain("can@s"), ParseAskAgain("can@h"), ParseAskAgain("can@6")};
  settings_.answers.MakeUnknown("h");
  Give("s=SN8");
  EXPECT_EQ(AnswersTo("sshh60"), "can\r\nSN8can\r\nU\r\ncan\r\nA");
}

TEST_F(ApplicationTest, CalibratesAndGoesOn) {
  settings_.calibration.lines = 1;
  Arrive("K").Pause(100).Arrive(FromText("0")).Pause(500).Arrive(FromText("s"));
  EXPECT_EQ(Run(), "KVO_CMD_CALIBRATE\r\ncalibration step 1\r\n---\r\nSN000042\r\n");
}

TEST_F(BoardTest, LineEndFollowsTextsButNotThePingOfTheBootloader) {
  settings_.manner.line_end = "\n";
  Arrive("0zs60").Pause(1000).Arrive(FromText("0"));
  EXPECT_EQ(Run(), "AU\nSN000042\nping_callback_function\n");
}

TEST_F(BoardTest, WhatArrivesBeforeALateAnswerIsReadAfterIt) {
  settings_.manner.delay = milliseconds(150);
  Arrive("0").Pause(50).Arrive(FromText("z"));
  EXPECT_EQ(Run(), "AU\r\n");
  EXPECT_EQ(line_.Times(), (std::vector<std::int64_t>{150, 300}));
}

TEST_F(BoardTest, UploadIsNeitherDelayedNorInPieces) {
  settings_.manner.delay = milliseconds(150);
  settings_.manner.piece_size = 1;
  ArriveUpload("1024", 1);
  EXPECT_EQ(RunInHex(), "43 06 43 06 06 43 06 4f");
  EXPECT_EQ(line_.NowInMs(), 0);
  EXPECT_EQ(line_.Pieces().at(1), "\6C");
}

TEST_F(BoardTest, StartsTheApplication) {
  ArriveStartOfApplication();
  EXPECT_EQ(Run(), "ping_callback_function\r\n");
}

TEST_F(ApplicationTest, BytesDuringASwitchToTheBootloaderAreLost) {
  settings_.switch_time = milliseconds(500);
  Arrive("Q00").Pause(499).Arrive(FromText("0")).Pause(2).Arrive(FromText("0"));
  EXPECT_EQ(Run(), "A");
  EXPECT_EQ(line_.Times(), std::vector<std::int64_t>{501});
}

TEST_F(ApplicationTest, SwitchWithoutTimeLosesNothing) {
  settings_.switch_time = milliseconds(0);
  EXPECT_EQ(AnswersTo("Q060"), "Aping_callback_function\r\n");
}

TEST_F(ApplicationTest, GoesOnAfterItRestoredItsDefaults) {
  settings_.silent_pings = 1;
  settings_.answers.SetText('s', "S1");
  Arrive("00");
  ArriveSlowly("Q6tCRL");
  EXPECT_EQ(AnswersTo("0s"), "ping_callback_function\r\nping_callback_function\r\nS1\r\n");
  EXPECT_EQ(trace_.Text(),
            "   0.000000 # application runs\n"
            "   0.600000 # default parameters restored, gaps in ms: 100 100 100 100 100\n");
}

TEST_F(ApplicationTest, RestoresItsDefaultsAlsoWhenTheSwitchTakesNoTime) {
  settings_.switch_time = milliseconds(0);
  ArriveSlowly("Q6tCRL");
  EXPECT_EQ(AnswersTo("0"), "ping_callback_function\r\n");
  EXPECT_EQ(trace_.Text(),
            "   0.000000 # application runs\n"
            "   0.100000 # bootloader started\n"
            "   0.600000 # default parameters restored, gaps in ms: 100 100 100 100 100\n"
            "   0.600000 # application runs again\n");
}

TEST_F(ApplicationTest, BrokenRestoreSequenceIsASwitchToTheBootloader) {
  ArriveSlowly("Q6tXRL0");
  EXPECT_EQ(Run(), "U\r\nU\r\nA");
  EXPECT_EQ(trace_.Text(),
            "   0.000000 # application runs\n"
            "   0.400000 # default parameters not restored: 'X' in place of 'C'\n"
            "   0.400000 # bootloader started\n"
            "   0.500000 # unknown code 'R'\n"
            "   0.600000 # unknown code 'L'\n");
}

TEST_F(ApplicationTest, SequenceThatBreaksDuringTheSwitchLosesWhatComesInIt) {
  Arrive("Q6tCRL0").Pause(199).Arrive(FromText("0")).Pause(2).Arrive(FromText("0"));
  EXPECT_EQ(Run(), "A");
  EXPECT_EQ(line_.Times(), std::vector<std::int64_t>{201});
}

TEST_F(ApplicationTest, ByteAfterTheSwitchIsAnsweredAtOnce) {
  Arrive("Q").Pause(201).Arrive(FromText("0"));
  EXPECT_EQ(Run(), "A");
  EXPECT_EQ(line_.Times(), std::vector<std::int64_t>{201});
}

TEST_F(ApplicationTest, IsStartedAgainOnceTheRestoreSequenceCannotBegin) {
  Arrive("Q").Pause(501).Arrive(FromText("6")).Pause(1000).Arrive(FromText("0"));
  EXPECT_EQ(Run(), "ping_callback_function\r\n");
  EXPECT_EQ(trace_.Text(),
            "   0.000000 # application runs\n"
            "   0.200000 # bootloader started\n"
            "   0.701000 # application started\n");
}

TEST_F(BoardTest, HasNoDefaultsToRestoreInTheBootloader) {
  ArriveSlowly("Q6tCRL");
  EXPECT_EQ(AnswersTo("0"), "U\r\nping_callback_function\r\n");
}

TEST_F(BoardTest, FirstPingsAfterStartAndSwitchMayStayUnanswered) {
  settings_.silent_pings = 2;
  Arrive("00006").Pause(1000).Arrive(FromText("000"));
  EXPECT_EQ(Run(), "AAping_callback_function\r\n");
}

TEST_F(BoardTest, GoodImageIsKeptAndApproved) {
  ArriveUpload("1025", 2);
  Arrive("0");
  EXPECT_EQ(RunInHex(), "43 06 43 06 06 06 43 06 4f 41");
  EXPECT_THAT(kept_, testing::ElementsAre(Pattern(1024) + Bytes{0x00}));
}

TEST_F(BoardTest, ImageOfTheWrongLengthIsDisapproved) {
  ArriveUpload("1025", 1);
  EXPECT_EQ(RunInHex(), "43 06 43 06 06 43 06 45");
  EXPECT_TRUE(kept_.empty());
}

TEST_F(BoardTest, ImageThatCannotBeKeptIsDisapproved) {
  keeper_fails_ = true;
  ArriveUpload("1024", 1);
  EXPECT_EQ(RunInHex(), "43 06 43 06 06 43 06 45");
  EXPECT_EQ(complaints_.str(), "the flash is full\n");
}

TEST_F(BoardTest, ApplicationDoesNotStartAfterABadUploadUntilAGoodOneRepairsIt) {
  ArriveUpload("2000", 1);
  ArriveStartOfApplication();
  ArriveUpload("1024", 1);
  ArriveStartOfApplication();
  EXPECT_EQ(Run(),
            "C\6C\6\6C\6EA"
            "C\6C\6\6C\6Oping_callback_function\r\n");
}

TEST_F(BoardTest, ApplicationDoesNotStartAfterABrokenUpload) {
  Arrive("1").Arrive(Packet(0, PacketZeroData("2048"))).Arrive(Packet(1, Pattern(1024)));
  line_.Pause(5000);
  ArriveStartOfApplication();
  EXPECT_EQ(RunInHex(), "43 06 43 06 41");
}

TEST_F(BoardTest, ApplicationSurvivesAnUploadThatEndsBeforeItsFirstBlock) {
  Arrive("1").Arrive(Packet(0, PacketZeroData("2048"))).Arrive(FromHex("18 18"));
  ArriveStartOfApplication();
  EXPECT_EQ(Run(), "C\6Cping_callback_function\r\n");
}

TEST_F(BoardTest, FailedStartOfReceivingReturnsToTheCommands) {
  Fault("byte=46@start");
  EXPECT_EQ(AnswersTo("10"), "FA");
}

TEST_F(BoardTest, RepeatedClosingPacketIsAnsweredWithTheVerdictAgain) {
  ArriveUpload("1024", 1);
  line_.Pause(100).Arrive(ClosingPacket()).Pause(2900).Arrive(ClosingPacket());
  Arrive("0");
  EXPECT_EQ(RunInHex(), "43 06 43 06 06 43 06 4f 06 4f 06 4f 41");
  EXPECT_EQ(kept_.size(), 1U);
}

TEST_F(BoardTest, OtherPacketInPlaceOfARepeatedClosingOneIsIgnored) {
  ArriveUpload("1024", 1);
  line_.Arrive(Packet(1, Bytes(128))).Arrive(Packet(0, PacketZeroData("1024")));
  EXPECT_EQ(RunInHex(), "43 06 43 06 06 43 06 4f");
}

TEST_F(BoardTest, ClosingPacketAfterAnotherCommandIsNotKnown) {
  ArriveUpload("1024", 1);
  Arrive("0").Arrive(FromHex("01"));
  EXPECT_EQ(RunInHex(), "43 06 43 06 06 43 06 4f 41 55 0d 0a");
}

TEST_F(BoardTest, ClosingPacketLongAfterTheVerdictIsNotKnown) {
  ArriveUpload("1024", 1);
  line_.Pause(3000).Arrive(FromHex("01"));
  EXPECT_EQ(RunInHex(), "43 06 43 06 06 43 06 4f 55 0d 0a");
}

TEST_F(BoardTest, LostAckOfTheClosingPacketLeavesTheVerdict) {
  Fault("lost-ack@closing");
  ArriveUpload("1024", 1);
  EXPECT_EQ(RunInHex(), "43 06 43 06 06 43 4f");
}

TEST_F(BoardTest, VerdictReplacedByAFaultLeavesTheApplicationInvalid) {
  Fault("byte=6f@verdict");
  ArriveUpload("1024", 1);
  ArriveStartOfApplication();
  EXPECT_THAT(Run(), EndsWith("oA"));
  EXPECT_EQ(kept_.size(), 1U);
}

TEST_F(BoardTest, LateVerdictIsAGoodOne) {
  Fault("late=80@verdict");
  ArriveUpload("1024", 1);
  ArriveStartOfApplication();
  EXPECT_THAT(Run(), EndsWith("Oping_callback_function\r\n"));
  EXPECT_EQ(line_.Times().at(5), 80);
}

TEST_F(BoardTest, VerdictMayBeSilenced) {
  Fault("silence@verdict");
  ArriveUpload("1024", 1);
  Arrive("0");
  EXPECT_EQ(RunInHex(), "43 06 43 06 06 43 06 41");
}

}  // namespace
}  // namespace kvo::boardsimulator
