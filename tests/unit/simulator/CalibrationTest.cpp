#include "simulator/Calibration.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;

struct Line {
  std::int64_t at_ms;
  std::string text;

  bool operator==(const Line&) const = default;
};

void PrintTo(const Line& line, std::ostream* output) { *output << line.at_ms << ' ' << line.text; }

class CalibrationTest : public testing::Test {
 protected:
  void Run() {
    auto record = std::make_unique<std::ostringstream>();
    const std::ostringstream& written = *record;
    Trace trace(std::move(record), line_.Now());
    TextSender texts(stream_, manner_);
    Calibration(stream_, texts, trace, settings_).Run();
    trace_ = written.str();
  }
  std::vector<Line> Sent() const {
    std::vector<Line> lines;
    for (const auto& [at_ms, bytes] : line_.Answers()) {
      lines.push_back({at_ms, {bytes.begin(), bytes.end()}});
    }
    return lines;
  }

  ScriptedLine line_;
  ByteStream stream_{line_};
  TextManner manner_;
  CalibrationSettings settings_;
  std::string trace_;
};

TEST_F(CalibrationTest, EachLineIsOnePieceAndComesInItsTime) {
  Run();
  EXPECT_EQ(Sent(), (std::vector<Line>{{0, "KVO_CMD_CALIBRATE\r\n"},
                                       {200, "calibration step 1\r\n"},
                                       {400, "calibration step 2\r\n"},
                                       {600, "calibration step 3\r\n"},
                                       {800, "---\r\n"}}));
  EXPECT_EQ(trace_,
            "   0.000000 # calibration started\n"
            "   0.800000 # calibration finished\n");
}

TEST_F(CalibrationTest, LinesAndIntervalMayBeSet) {
  settings_.lines = 1;
  settings_.interval = milliseconds(50);
  Run();
  EXPECT_EQ(Sent(),
            (std::vector<Line>{
                {0, "KVO_CMD_CALIBRATE\r\n"}, {50, "calibration step 1\r\n"}, {100, "---\r\n"}}));
}

TEST_F(CalibrationTest, EndMayComeWithoutProgress) {
  settings_.lines = 0;
  Run();
  EXPECT_EQ(Sent(), (std::vector<Line>{{0, "KVO_CMD_CALIBRATE\r\n"}, {200, "---\r\n"}}));
}

TEST_F(CalibrationTest, RefusalIsSilent) {
  settings_.refused = true;
  Run();
  EXPECT_EQ(Sent(), std::vector<Line>{});
  EXPECT_EQ(line_.NowInMs(), 0);
  EXPECT_EQ(trace_, "   0.000000 # calibration refused\n");
}

TEST_F(CalibrationTest, EndlessCalibrationEndsWhenTheHostGoes) {
  settings_.lines.reset();
  line_.Pause(1'000'100).Depart();
  Run();
  EXPECT_EQ(line_.Answers().size(), 5'001U);
  EXPECT_EQ(Sent().back(), (Line{1'000'000, "calibration step 5000\r\n"}));
  EXPECT_EQ(trace_,
            "   0.000000 # calibration started\n"
            "1000.200000 # calibration ended: the host has gone\n");
}

TEST_F(CalibrationTest, HostThatGoesEndsAlsoACalibrationWithAnEnd) {
  line_.Pause(700).Depart();
  Run();
  EXPECT_EQ(Sent().back(), (Line{600, "calibration step 3\r\n"}));
}

TEST_F(CalibrationTest, EarlierHostThatWentDoesNotCount) {
  line_.Depart();
  Run();
  EXPECT_EQ(Sent().back(), (Line{800, "---\r\n"}));
}

TEST_F(CalibrationTest, WhatArrivesMeanwhileIsLost) {
  line_.Arrive(FromText("0")).Pause(799).Arrive(FromText("00"));
  Run();
  EXPECT_FALSE(stream_.ReadByte(line_.Now()));
}

TEST_F(CalibrationTest, OnlyTheAnswerIsDelayed) {
  manner_.delay = milliseconds(120);
  manner_.line_end = "\n";
  settings_.lines = 0;
  Run();
  EXPECT_EQ(Sent(), (std::vector<Line>{{120, "KVO_CMD_CALIBRATE\n"}, {320, "---\n"}}));
}

TEST_F(CalibrationTest, EndComesInPiecesIfAllTextsDo) {
  manner_.piece_size = 2;
  manner_.line_end = "";
  settings_.lines = 0;
  Run();
  EXPECT_EQ(Sent().at(Sent().size() - 2).text, "--");
  EXPECT_EQ(Sent().back().text, "-");
}

}  // namespace
}  // namespace kvo::boardsimulator
