// What the board answers: its table of texts, the words in place of an answer, and how it sends
// them.
#include <utility>

#include "simulator/AnswerTable.h"
#include "simulator/AskAgain.h"
#include "simulator/Calibration.h"
#include "simulator/TextSender.h"
#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;
using namespace std::string_literals;

constexpr BoardState kApplication = BoardState::kApplication;
constexpr BoardState kBootloader = BoardState::kBootloader;

class AnswerTableTest : public testing::Test {
 protected:
  std::string Find(BoardState runs, char code) const {
    const auto answer = table_.Find(runs, static_cast<std::uint8_t>(code));
    if (!answer) {
      return "no text";
    }
    return answer->text + (answer->line_end_follows ? "<line end>" : "");
  }
  void Give(std::string_view text) { table_.Give(ParseGivenAnswer(text)); }

  AnswerTable table_;
};

TEST_F(AnswerTableTest, TextOfACodeMayBeSet) {
  table_.SetText('s', "SN7");
  table_.SetText('7', "");
  EXPECT_EQ(Find(kApplication, 's'), "SN7<line end>");
  EXPECT_EQ(Find(kBootloader, 's'), "SN7<line end>");
  EXPECT_EQ(Find(kBootloader, '7'), "<line end>");
  EXPECT_EQ(Find(kApplication, '7'), "no text");
  EXPECT_EQ(Find(kBootloader, '8'), "BL-INFO 1.2<line end>");
}

TEST_F(AnswerTableTest, GivenAnswerIsExactAndComesFirst) {
  Give("s=SN8");
  table_.SetText('s', "SN7");
  Give("0x07=bell");
  Give("h=");
  for (const BoardState runs : {kApplication, kBootloader}) {
    EXPECT_EQ(Find(runs, 's'), "SN8");
    EXPECT_EQ(Find(runs, '\a'), "bell");
    EXPECT_EQ(Find(runs, 'h'), "");
  }
}

TEST_F(AnswerTableTest, GivenAnswerOfOneSideLeavesTheOtherAlone) {
  Give("bootloader:s=SN8");
  EXPECT_EQ(Find(kBootloader, 's'), "SN8");
  EXPECT_EQ(Find(kApplication, 's'), "SN000042<line end>");
}

TEST_F(AnswerTableTest, LastGivenAnswerCounts) {
  Give("application:s=1");
  Give("s=2");
  Give("bootloader:s=3");
  EXPECT_EQ(Find(kApplication, 's'), "2");
  EXPECT_EQ(Find(kBootloader, 's'), "3");
}

TEST_F(AnswerTableTest, UnknownCodesHaveNoTextUnlessAnAnswerIsGiven) {
  Give("application:s=SN8");
  table_.MakeUnknown("hs");
  table_.MakeUnknown("Q\0"s);
  for (const char code : "hQ\0"s) {
    EXPECT_TRUE(table_.IsMadeUnknown(static_cast<std::uint8_t>(code)));
    EXPECT_EQ(Find(kApplication, code), "no text");
    EXPECT_EQ(Find(kBootloader, code), "no text");
  }
  EXPECT_EQ(Find(kApplication, 's'), "SN8");
  EXPECT_EQ(Find(kBootloader, 's'), "no text");
  EXPECT_FALSE(table_.IsMadeUnknown('p'));
  EXPECT_EQ(Find(kApplication, 'p'), "KVO-TMS<line end>");
}

// What a plan answers to these requests, one after the other.
std::vector<std::string> WordsOf(std::vector<AskAgain> words,
                                 const std::vector<std::pair<BoardState, char>>& requests) {
  AskAgainPlan plan(std::move(words));
  std::vector<std::string> taken;
  for (const auto& [runs, code] : requests) {
    const auto again = plan.Take(runs, static_cast<std::uint8_t>(code));
    taken.push_back(again ? again->word : "right answer");
  }
  return taken;
}

TEST(AskAgainPlanTest, WordsOfOneRequestFollowEachOther) {
  EXPECT_EQ(WordsOf({ParseAskAgain("can@s/2"), ParseAskAgain("Can@h"), ParseAskAgain("CAN@s")},
                    {{kApplication, 's'},
                     {kApplication, 'h'},
                     {kBootloader, 's'},
                     {kApplication, 's'},
                     {kApplication, 's'},
                     {kApplication, 'h'}}),
            (std::vector<std::string>{"can", "Can", "can", "CAN", "right answer", "right answer"}));
}

TEST(AskAgainPlanTest, AlwaysDoesNotEnd) {
  EXPECT_EQ(WordsOf({ParseAskAgain("can@s/always")}, {1000, {kApplication, 's'}}),
            std::vector<std::string>(1000, "can"));
}

TEST(AskAgainPlanTest, WordForOneSideIsNotForTheOther) {
  EXPECT_EQ(WordsOf({ParseAskAgain("can@bootloader:s")}, {{kApplication, 's'}, {kBootloader, 's'}}),
            (std::vector<std::string>{"right answer", "can"}));
}

class TextSenderTest : public OnScriptedLine {
 protected:
  TextSender Sender() { return {stream_, manner_}; }

  TextManner manner_;
};

TEST_F(TextSenderTest, LineGoesOutAtOnceInOnePieceWithItsEnd) {
  const std::string text(1000, 'x');
  Sender().AnswerLine(text);
  EXPECT_EQ(line_.Pieces(), std::vector<std::string>{text + "\r\n"});
  EXPECT_EQ(line_.NowInMs(), 0);
}

TEST_F(TextSenderTest, LineMayEndOtherwise) {
  manner_.line_end = std::string(1, '\0');
  Sender().AnswerLine("A");
  manner_.line_end = "";
  Sender().AnswerLine("B");
  EXPECT_EQ(line_.SentHex(), "41 00 42");
}

TEST_F(TextSenderTest, AnswersAreDelayedAndExactOnesHaveNoLineEnd) {
  manner_.delay = milliseconds(150);
  Sender().AnswerLine("a");
  Sender().Answer("");
  Sender().Answer("b");
  Sender().ReportLine("c");
  EXPECT_EQ(line_.Pieces(), (std::vector<std::string>{"a\r\n", "b", "c\r\n"}));
  EXPECT_EQ(line_.Times(), (std::vector<std::int64_t>{150, 300, 300}));
}

TEST_F(TextSenderTest, PiecesComeOneAfterTheOther) {
  manner_.delay = milliseconds(100);
  manner_.piece_size = 3;
  manner_.piece_pause = milliseconds(20);
  Sender().AnswerLine("abcdef");
  EXPECT_EQ(line_.Pieces(), (std::vector<std::string>{"abc", "def", "\r\n"}));
  EXPECT_EQ(line_.Times(), (std::vector<std::int64_t>{100, 120, 140}));
  EXPECT_EQ(line_.NowInMs(), 140);
}

TEST_F(TextSenderTest, PiecesAre10MsApartUnlessToldOtherwise) {
  manner_.piece_size = 4;
  Sender().ReportLine("abcd");
  EXPECT_EQ(line_.Pieces(), (std::vector<std::string>{"abcd", "\r\n"}));
  EXPECT_EQ(line_.Times(), (std::vector<std::int64_t>{0, 10}));
}

class CalibrationTest : public OnScriptedLine {
 protected:
  // The pieces that a calibration sends.
  std::vector<std::string> Run() {
    TextSender texts(stream_, manner_);
    Calibration(stream_, texts, trace_, settings_).Run();
    return line_.Pieces();
  }

  TextManner manner_;
  CalibrationSettings settings_;
};

TEST_F(CalibrationTest, EachLineIsOnePieceAndComesInItsTime) {
  EXPECT_EQ(Run(), (std::vector<std::string>{"KVO_CMD_CALIBRATE\r\n", "calibration step 1\r\n",
                                             "calibration step 2\r\n", "calibration step 3\r\n",
                                             "---\r\n"}));
  EXPECT_EQ(line_.Times(), (std::vector<std::int64_t>{0, 200, 400, 600, 800}));
  EXPECT_EQ(trace_.Text(),
            "   0.000000 # calibration started\n"
            "   0.800000 # calibration finished\n");
}

TEST_F(CalibrationTest, LinesAndIntervalMayBeSet) {
  settings_.lines = 1;
  settings_.interval = milliseconds(50);
  EXPECT_EQ(Run(), (std::vector<std::string>{"KVO_CMD_CALIBRATE\r\n", "calibration step 1\r\n",
                                             "---\r\n"}));
  EXPECT_EQ(line_.Times(), (std::vector<std::int64_t>{0, 50, 100}));
}

TEST_F(CalibrationTest, OnlyTheAnswerIsDelayed) {
  manner_.delay = milliseconds(120);
  manner_.line_end = "\n";
  settings_.lines = 0;
  EXPECT_EQ(Run(), (std::vector<std::string>{"KVO_CMD_CALIBRATE\n", "---\n"}));
  EXPECT_EQ(line_.Times(), (std::vector<std::int64_t>{120, 320}));
}

TEST_F(CalibrationTest, RefusalIsSilent) {
  settings_.refused = true;
  EXPECT_EQ(Run(), std::vector<std::string>{});
  EXPECT_EQ(line_.NowInMs(), 0);
  EXPECT_EQ(trace_.Text(), "   0.000000 # calibration refused\n");
}

TEST_F(CalibrationTest, EndlessCalibrationEndsWhenTheHostGoes) {
  settings_.lines.reset();
  line_.Pause(1'000'100).Depart();
  EXPECT_EQ(Run().back(), "calibration step 5000\r\n");
  EXPECT_EQ(line_.Times().back(), 1'000'000);
  EXPECT_EQ(trace_.Text(),
            "   0.000000 # calibration started\n"
            "1000.200000 # calibration ended: the host has gone\n");
}

TEST_F(CalibrationTest, HostThatGoesEndsAlsoACalibrationWithAnEnd) {
  line_.Pause(700).Depart();
  EXPECT_EQ(Run().back(), "calibration step 3\r\n");
}

TEST_F(CalibrationTest, EarlierHostThatWentDoesNotCount) {
  line_.Depart();
  EXPECT_EQ(Run().back(), "---\r\n");
}

TEST_F(CalibrationTest, WhatArrivesMeanwhileIsLost) {
  line_.Arrive(FromText("0")).Pause(799).Arrive(FromText("00"));
  Run();
  EXPECT_FALSE(stream_.ReadByte(line_.Now()));
}

TEST_F(CalibrationTest, EndComesInPiecesIfAllTextsDo) {
  manner_.piece_size = 2;
  manner_.line_end = "";
  settings_.lines = 0;
  const std::vector<std::string> pieces = Run();
  EXPECT_EQ(std::vector(pieces.end() - 2, pieces.end()), (std::vector<std::string>{"--", "-"}));
}

}  // namespace
}  // namespace kvo::boardsimulator
