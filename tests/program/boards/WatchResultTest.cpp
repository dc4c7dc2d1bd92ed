// How boards end that kvo-boards watches for, what is told of them, and after how many it ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "program/boards/WatchProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

struct FailureRow {
  const char* name;
  std::vector<std::string> board;
  const char* reason;
};

void PrintTo(const FailureRow& row, std::ostream* out) { *out << row.name; }

class WatchedFailure : public WatchProgram, public ::testing::WithParamInterface<FailureRow> {};

TEST_P(WatchedFailure, IsToldAndLeftAloneUntilThePortHasGoneAndComeBack) {
  const SimulatedBoard bad(kInBootloader + GetParam().board);
  const SimulatedBoard good(kInBootloader);
  Plug("a", bad.Path());
  Start();
  WaitFor("finished", "a");
  EXPECT_THAT(Events().back(), FailedBy(GetParam().reason));
  Plug("good", good.Path());
  WaitFor("finished", "good");
  EXPECT_EQ(Count("started", "a"), 1U);
  Unplug("a");
  Plug("a", bad.Path());
  WaitFor("finished", "a", 2);
  EXPECT_EQ(ResultsAfterOneMore(),
            (Results{{"a " + std::string(GetParam().reason), 2}, {"good flashed", 1}}));
}

INSTANTIATE_TEST_SUITE_P(
    WatchProgram, WatchedFailure,
    ::testing::Values(FailureRow{"AnotherKind", {"--board", "wk"}, "refused"},
                      FailureRow{"ByCan", {"--fault", "can@block:1/2"}, "broken"},
                      FailureRow{"Rejected", {"--fault", "byte=45@verdict/2"}, "rejected"}),
    [](const auto& row) { return row.param.name; });

TEST_F(WatchProgram, ADeviceThatIsNoTerminalIsAFailure) {
  Plug("null", "/dev/null");
  Start();
  WaitFor("finished", "null");
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"null not-a-terminal", 1}}));
}

TEST_F(WatchProgram, ABoardThatIsSilentIsAFailure) {
  answer_timeout_ = "100";
  const SimulatedBoard silent(kInBootloader + std::vector<std::string>{"--ping-silence", "1000"});
  Plug("silent", silent.Path());
  Start({"--count", "1"});
  EXPECT_EQ(ResultsAtTheEnd(1), (Results{{"silent silent", 1}}));
}

// A board that is pulled out before its block is acknowledged, and comes back.
class BoardPulledOut : public WatchProgram {
 protected:
  void PullOutAndPlugInAgain() {
    const SimulatedBoard pulled_out(
        kInBootloader +
        std::vector<std::string>{"--link", ports_.Path("a"), "--fault", "hangup@block:1"});
    WaitUntil([&] { return !std::filesystem::exists(ports_.Path("a")); }, "end of the board");
    Plug("a", back_.Path());
  }

  SimulatedBoard back_{kInBootloader};
};

TEST_F(BoardPulledOut, IsOneBoardWhenItIsTriedAgain) {
  Start({"--attempts", "2"});
  PullOutAndPlugInAgain();
  WaitFor("finished", "a");
  EXPECT_THAT(Events().back(), HasFields(Json{{"result", "flashed"}, {"attempts", 2}}));
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"a flashed", 1}}));
  EXPECT_EQ(ImagesSentTo(back_), 1U);
}

TEST_F(BoardPulledOut, IsTwoWhenEachIsTriedOnce) {
  Start();
  PullOutAndPlugInAgain();
  WaitFor("finished", "a", 2);
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"a lost", 1}, {"a flashed", 1}}));
}

// A port that can't be opened when it is plugged in. The rest of a test has 2 s from then on.
class PortThatOpensLater : public WatchProgram {
 protected:
  PortThatOpensLater() { format_ = {"--progress", "lines"}; }

  void PlugIn() {
    Start();
    Plug("a", board_.Path());
    WaitForText(ports_.Path("a") + ": plugged in\n");
  }

  void ExpectFlashed() {
    WaitForText(ports_.Path("a") + ": flashed in ");
    EXPECT_EQ(board_.Flash(), image_);
  }

  void ExpectFailure(const std::string& reason) {
    format_ = {"--json"};
    Start();
    Plug("a", board_.Path());
    WaitFor("finished", "a");
    const Json finished = Events().back();
    EXPECT_THAT(finished, FailedBy(reason));
    EXPECT_GE(finished.value("seconds", 0.0), 1.9);
    EXPECT_EQ(ResultsAfterOneMore(), (Results{{"a " + reason, 1}}));
  }

  const SimulatedBoard board_{kInBootloader};
};

class BusyWhenPluggedIn : public PortThatOpensLater {
 protected:
  BusyWhenPluggedIn() { EXPECT_EQ(holder_.FirstLine(), "held"); }

  RunningProgram holder_{
      {"sh", "-c", R"(exec 3<>"$0"; echo held; exec sleep 1000)", board_.Path()}};
};

TEST_F(BusyWhenPluggedIn, IsFlashedWhenItBecomesFreeWithinTwoSeconds) {
  PlugIn();
  holder_.Signal(SIGTERM);
  ExpectFlashed();
}

TEST_F(BusyWhenPluggedIn, FailsAfterTwoSeconds) { ExpectFailure("busy"); }

// Superusers may open what is closed to others.
class ClosedWhenPluggedIn : public PortThatOpensLater {
 protected:
  void SetUp() override {
    run_by_ = AsAnotherUser();
    if (RunBoards({"--version"}, run_by_).exit_status != 0) {
      GTEST_SKIP() << "nobody but the superuser may run the program from where it is";
    }
    for (const std::string& folder : {folder_.Path("."), ports_.Path(".")}) {
      std::filesystem::permissions(folder, std::filesystem::perms(0755));
    }
    std::filesystem::permissions(board_.Path(), std::filesystem::perms(0));
  }

  // Those that boards which come later need.
  void Open() { std::filesystem::permissions(board_.Path(), std::filesystem::perms(0666)); }
};

TEST_F(ClosedWhenPluggedIn, IsFlashedWhenItIsOpenedWithinTwoSeconds) {
  PlugIn();
  Open();
  ExpectFlashed();
}

TEST_F(ClosedWhenPluggedIn, FailsAfterTwoSeconds) { ExpectFailure("permission"); }

class CountedWatch : public WatchProgram {
 protected:
  // Starts with that many boards there, some of them bad.
  void StartWith(int good, int bad, const std::vector<std::string>& options) {
    for (int i = 0; i < good + bad; ++i) {
      boards_.push_back(std::make_unique<SimulatedBoard>(
          kInBootloader + std::vector<std::string>{"--fault", "late=200@start"} +
          (i < good ? std::vector<std::string>{} : std::vector<std::string>{"--board", "wk"})));
      Plug("board" + std::to_string(i), boards_.back()->Path());
    }
    Start(options);
  }

  std::vector<std::unique_ptr<SimulatedBoard>> boards_;
};

TEST_F(CountedWatch, BeginsNoMoreThanItsCountHoweverManyThereAre) {
  StartWith(5, 0, {"--count", "2"});
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 0);
  EXPECT_EQ(report.All("started").size(), 2U);
  EXPECT_THAT(report.Only("summary"),
              HasFields(Json{{"boards", 2}, {"flashed", 2}, {"failed", 0}}));
  EXPECT_EQ(std::ranges::count_if(boards_, [](const auto& board) { return board->HasFlash(); }), 2);
}

TEST_F(CountedWatch, FailsIfOneOfItsBoardsDoes) {
  StartWith(1, 1, {"--count", "2"});
  EXPECT_EQ(ResultsAtTheEnd(1), (Results{{"board0 flashed", 1}, {"board1 refused", 1}}));
}

TEST_F(CountedWatch, CountsEachComingButNoDanglingLink) {
  Plug("dangling", folder_.Path("none"));
  StartWith(1, 0, {"--count", "3", "--jobs", "1"});
  for (std::size_t coming = 1; coming < 3; ++coming) {
    WaitFor("finished", "board0", coming);
    Unplug("board0");
    Plug("board0", boards_.front()->Path());
  }
  EXPECT_EQ(ResultsAtTheEnd(0), (Results{{"board0 flashed", 3}}));
}

TEST_F(CountedWatch, EndsByTheSignalThatComesBeforeItsLastBoard) {
  StartWith(1, 0, {"--count", "2"});
  WaitFor("finished", "board0");
  Signal(SIGTERM);
  EXPECT_EQ(ResultsAtTheEnd(128 + SIGTERM), (Results{{"board0 flashed", 1}}));
}

TEST_F(CountedWatch, ServesOneAfterTheOtherWithOneJob) {
  StartWith(3, 0, {"--count", "4", "--jobs", "1"});
  WaitFor("started", "");
  const SimulatedBoard later(kInBootloader);
  Plug("later", later.Path());
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 0);
  std::vector<std::string> kinds;
  for (const Json& event : report.events) {
    if (event.at("event") != "progress") {
      kinds.push_back(event.at("event"));
    }
  }
  EXPECT_THAT(kinds, ElementsAre("started", "finished", "started", "finished", "started",
                                 "finished", "started", "finished", "summary"));
}

// Of one board, and what is told of it.
class WatchReport : public WatchProgram {
 protected:
  // All ports have their names from the watched folder.
  void StartHere(const std::vector<std::string>& format, const std::vector<std::string>& options) {
    format_ = format;
    StartIn(".", options, {"serial/*"});
  }

  const SimulatedBoard board_{kInBootloader};
};

TEST_F(WatchReport, AsJsonIsThatOfAnUpload) {
  Plug("serial/a", board_.Path());
  StartHere({"--json"}, {"--count", "1"});
  const Report report = ReportOf(*program_);
  EXPECT_THAT(
      report.output,
      MatchesRegex("\\{\"event\":\"started\","
                   "\"time\":\"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z\","
                   "\"port\":\"serial/a\",\"board\":\"TRK4_R1\","
                   "\"application\":\"TRK4-R1-APPLICATION\",\"bytes\":1000,\"attempt\":1\\}\n"
                   "\\{\"event\":\"progress\",\"port\":\"serial/a\",\"bytes_sent\":1000,"
                   "\"bytes\":1000\\}\n"
                   "\\{\"event\":\"finished\",\"port\":\"serial/a\",\"result\":\"flashed\","
                   "\"seconds\":[0-9.]+,\"attempts\":1,\"bytes_per_second\":[0-9]+\\}\n"
                   "\\{\"event\":\"summary\",\"boards\":1,\"flashed\":1,\"failed\":0,"
                   "\"seconds\":[0-9.]+\\}\n"));
  EXPECT_EQ(report.error_output, "");
}

TEST_F(WatchReport, TellsEachChangeInALineAndTheTotalsAfterEachResult) {
  const SimulatedBoard bad(kInBootloader + std::vector<std::string>{"--board", "wk"});
  Plug("serial/a", board_.Path());
  StartHere({}, {});
  WaitForText("\n1 flashed, 0 failed\n");
  Unplug("serial/a");
  WaitForText("serial/a: unplugged\n");
  Plug("serial/b", bad.Path());
  WaitForText("\n1 flashed, 1 failed\n");
  Signal(SIGINT);
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 128 + SIGINT);
  EXPECT_TRUE(std::regex_search(report.output, std::regex(R"(^Waiting for boards at serial/\*
serial/a: plugged in
(serial/a: .*\n)*serial/a: flashed in [0-9]+\.[0-9] s
1 flashed, 0 failed
serial/a: unplugged
serial/b: plugged in
(serial/b: .*\n)*serial/b: failed: .*
1 flashed, 1 failed
)"))) << report.output;
}

TEST_F(WatchReport, OfTheQuietIsALinePerFailure) {
  const SimulatedBoard bad(kInBootloader + std::vector<std::string>{"--board", "wk"});
  Plug("serial/a", board_.Path());
  Plug("serial/b", bad.Path());
  StartHere({"--quiet"}, {"--count", "2"});
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_EQ(report.output, "");
  EXPECT_THAT(report.error_output, MatchesRegex("serial/b: failed: [^\n]*\n"));
}

TEST_F(WatchReport, OfADryRunIsThatTheBoardIsReady) {
  const PlayedBoard board;
  Plug("serial/a", board.Path());
  StartHere({"--json"}, {"--dry-run", "--count", "1"});
  EXPECT_EQ(ResultsAtTheEnd(0), (Results{{"serial/a ready", 1}}));
  EXPECT_EQ(board.Rest(), "");
}

TEST_F(WatchReport, LogsEachComingInAFileOfItsOwn) {
  StartHere({"--json"}, {"--log-dir", folder_.Path("logs"), "--count", "2"});
  for (std::size_t coming = 1; coming <= 2; ++coming) {
    Plug("serial/a", board_.Path());
    WaitFor("finished", "serial/a", coming);
    Unplug("serial/a");
  }
  EXPECT_EQ(program_->Wait(), 0);
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder_.Path("logs"))) {
    names.push_back(entry.path().filename());
    EXPECT_TRUE(std::regex_match(names.back(), std::regex(R"(\d{8}T\d{6}\.\d{3}Z-serial_a\.log)")))
        << names.back();
    EXPECT_THAT(ReadFile(entry.path()), ContainsRegex("flashed in "));
    EXPECT_THAT(ReadFile(entry.path()), HasSubstr("EOT packet send"));
  }
  EXPECT_EQ(names.size(), 2U);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
