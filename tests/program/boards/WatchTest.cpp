// Boards that come and go while kvo-boards watches.
#include "program/boards/WatchProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Ge;
using ::testing::Le;
using ::testing::Pair;

// As in events.
std::string UtcNow() {
  timeval now{};
  ::gettimeofday(&now, nullptr);
  tm parts{};
  ::gmtime_r(&now.tv_sec, &parts);
  std::array<char, 40> text{};
  const std::size_t seconds = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text.data() + seconds, text.size() - seconds, ".%03dZ",
                static_cast<int>(now.tv_usec / 1000));
  return text.data();
}

TEST_F(WatchProgram, BoardsThatAreThereAreFlashedAndThoseThatComeLater) {
  const SimulatedBoard first(kInBootloader);
  const SimulatedBoard second(kInBootloader);
  Plug("first", first.Path());
  Start();
  WaitFor("finished", "first");
  Plug("second", second.Path());
  WaitFor("finished", "second");
  EXPECT_EQ(first.Flash(), image_);
  EXPECT_EQ(second.Flash(), image_);
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"first flashed", 1}, {"second flashed", 1}}));
}

TEST_F(WatchProgram, EachOfManyQuickComingsIsFlashedOnce) {
  constexpr int kComings = 30;
  SimulatedBoard board(kInBootloader);
  Start();
  for (int coming = 1; coming <= kComings; ++coming) {
    Plug("a", board.Path());
    WaitFor("finished", "a", static_cast<std::size_t>(coming));
    Unplug("a");
  }
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"a flashed", kComings}}));
  EXPECT_EQ(ImagesSentTo(board), 30U);
}

TEST_F(WatchProgram, NewOnlyLeavesAloneWhatIsThereUntilItHasGoneAndComeBack) {
  const SimulatedBoard old(kInBootloader);
  const SimulatedBoard recent(kInBootloader);
  Plug("old", old.Path());
  Start({"--new-only"});
  PlugUntilBegun("recent", recent.Path());
  WaitFor("finished", "recent");
  EXPECT_EQ(Count("started", "old"), 0U);
  Unplug("old");
  Plug("old", old.Path());
  WaitFor("finished", "old");
  EXPECT_THAT(ResultsAfterOneMore(),
              ElementsAre(Pair("old flashed", 1), Pair("recent flashed", Ge(1))));
}

// A way to replace the link `port`, by which it is never without a board or for an instant only.
struct Replacement {
  const char* name;
  void (*replace)(const std::string& port, const std::string& device, const std::string& elsewhere);
};

void PrintTo(const Replacement& row, std::ostream* out) { *out << row.name; }

class ReplacedLink : public WatchProgram, public ::testing::WithParamInterface<Replacement> {
 protected:
  void Replace(const std::string& name, const std::string& device) const {
    GetParam().replace(ports_.Path(name), device, folder_.Path("made"));
  }
};

TEST_P(ReplacedLink, CountsAsNewlyCome) {
  SimulatedBoard board(kInBootloader);
  const SimulatedBoard other(kInBootloader);
  Plug("a", board.Path());
  Start({}, {"a", "last"});
  WaitFor("finished", "a");
  Replace("a", board.Path());
  WaitFor("finished", "a", 2);
  Replace("a", other.Path());
  WaitFor("finished", "a", 3);
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"a flashed", 3}}));
  EXPECT_EQ(other.Flash(), image_);
  EXPECT_EQ(ImagesSentTo(board), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    WatchProgram, ReplacedLink,
    ::testing::Values(
        Replacement{"RemovedAndMade",
                    [](const std::string& port, const std::string& device, const std::string&) {
                      std::filesystem::remove(port);
                      std::filesystem::create_symlink(device, port);
                    }},
        Replacement{
            "RenamedOver",
            [](const std::string& port, const std::string& device, const std::string& elsewhere) {
              std::filesystem::create_symlink(device, elsewhere);
              std::filesystem::rename(elsewhere, port);
            }},
        Replacement{"ByForcedLn",
                    [](const std::string& port, const std::string& device, const std::string&) {
                      EXPECT_EQ(RunProgram({"ln", "-sfn", device, port}).exit_status, 0);
                    }}),
    [](const auto& row) { return row.param.name; });

TEST_F(WatchProgram, ADanglingLinkIsAPortOnceItLeadsSomewhere) {
  const SimulatedBoard early(kInBootloader);
  const SimulatedBoard late(kInBootloader);
  const SimulatedBoard good(kInBootloader);
  Plug("never", folder_.Path("never"));
  Plug("early", folder_.Path("device"));
  Start();
  Plug("good", good.Path());
  WaitFor("finished", "good");
  Plug("late", folder_.Path("deep/device"));
  std::filesystem::create_symlink(early.Path(), folder_.Path("device"));
  WaitFor("finished", "early");
  std::filesystem::create_directory(folder_.Path("deep"));
  std::filesystem::create_symlink(late.Path(), folder_.Path("deep/device"));
  WaitFor("finished", "late");
  EXPECT_EQ(ResultsAfterOneMore(),
            (Results{{"early flashed", 1}, {"late flashed", 1}, {"good flashed", 1}}));
}

// Links as udev makes them: "serial/by-path/usb-1" leads to "../../tty".
TEST_F(WatchProgram, ADeviceThatGoesAndComesBackBehindItsLinkIsNewlyCome) {
  constexpr std::size_t kComings = 3;
  Plug("serial/by-path/usb-1", "../../tty");
  Start({}, {"serial/by-path/*"});
  for (std::size_t coming = 1; coming <= kComings; ++coming) {
    SimulatedBoard board(kInBootloader + std::vector<std::string>{"--link", ports_.Path("tty")});
    WaitFor("finished", "serial/by-path/usb-1", coming);
    EXPECT_EQ(ImagesSentTo(board), 1U);
  }
  EXPECT_EQ(ResultsAfterOneMore("serial/by-path/last"),
            (Results{{"serial/by-path/usb-1 flashed", 3}}));
}

TEST_F(WatchProgram, TwentyThatComeAtOnceAreAllFlashed) {
  constexpr std::size_t kBoards = 20;
  std::vector<std::unique_ptr<SimulatedBoard>> boards;
  Results expected;
  for (std::size_t i = 0; i < kBoards; ++i) {
    boards.push_back(std::make_unique<SimulatedBoard>(kInBootloader));
  }
  Start();
  for (const auto& board : boards) {
    const std::string name = std::filesystem::path(board->Path()).filename();
    Plug(name, board->Path());
    expected[name + " flashed"] = 1;
  }
  WaitFor("finished", "", kBoards);
  EXPECT_EQ(ResultsAfterOneMore(), expected);
  for (const auto& board : boards) {
    EXPECT_EQ(board->Flash(), image_);
  }
}

TEST_F(WatchProgram, BoardsComeAndGoWhileAnotherIsInWork) {
  const PlayedBoard slow;
  const SimulatedBoard quick(kInBootloader);
  Plug("slow", slow.Path());
  Start();
  ASSERT_NO_FATAL_FAILURE(slow.GetsABlockAfter(0));
  Plug("quick", quick.Path());
  WaitFor("finished", "quick");
  Unplug("quick");
  Plug("quick", quick.Path());
  WaitFor("finished", "quick", 2);
  EXPECT_EQ(Count("finished", "slow"), 0U);
  ASSERT_NO_FATAL_FAILURE(slow.TakesTheLastBlock());
  WaitFor("finished", "slow");
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"slow flashed", 1}, {"quick flashed", 2}}));
}

// Names of one board, all of which are watched.
class NamesOfOneBoard : public WatchProgram {
 protected:
  // How many boards of any name were flashed; nothing else may have happened.
  int Flashed() {
    int all = 0;
    for (const auto& [result, count] : ResultsAfterOneMore()) {
      EXPECT_TRUE(result == "a flashed" || result == "b flashed") << result;
      all += count;
    }
    return all;
  }
};

TEST_F(NamesOfOneBoard, AreOnePort) {
  SimulatedBoard board(kInBootloader);
  Plug("a", board.Path());
  Plug("b", board.Path());
  Start({}, {"*", "a", "?", "last"});
  WaitFor("finished", "");
  EXPECT_EQ(Flashed(), 1);
  EXPECT_EQ(ImagesSentTo(board), 1U);
}

TEST_F(NamesOfOneBoard, MayComeWhileItIsInWork) {
  const PlayedBoard board;
  const SimulatedBoard other(kInBootloader);
  Plug("a", board.Path());
  Start({}, {"a", "b", "last"});
  ASSERT_NO_FATAL_FAILURE(board.GetsABlockAfter(0));
  Plug("b", board.Path());
  ASSERT_NO_FATAL_FAILURE(board.TakesTheLastBlock());
  WaitFor("finished", "a");
  EXPECT_EQ(Flashed(), 1);
}

TEST_F(NamesOfOneBoard, MayComeAfterItsWork) {
  const SimulatedBoard board(kInBootloader);
  Plug("a", board.Path());
  Start();
  WaitFor("finished", "a");
  Plug("b", board.Path());
  EXPECT_EQ(Flashed(), 1);
}

TEST_F(NamesOfOneBoard, AreOnePortAgainWhenAllHaveGoneAndComeBack) {
  const SimulatedBoard board(kInBootloader);
  Plug("a", board.Path());
  Plug("b", board.Path());
  Start();
  WaitFor("finished", "");
  Unplug("a");
  Unplug("b");
  Plug("b", board.Path());
  WaitFor("finished", "", 2);
  Plug("a", board.Path());
  EXPECT_EQ(Flashed(), 2);
}

TEST_F(NamesOfOneBoard, IsServedUnderTheSecondWhenTheFirstGoesBeforeItsTurn) {
  const PlayedBoard busy;
  SimulatedBoard board(kInBootloader);
  Plug("busy", busy.Path());
  Start({"--jobs", "1"});
  ASSERT_NO_FATAL_FAILURE(busy.GetsABlockAfter(0));
  Plug("a", board.Path());
  Plug("b", board.Path());
  WaitUntil([&] { return WorkerOf(*program_, board.Path()) != -1; }, "worker of the board");
  Unplug("a");
  ASSERT_NO_FATAL_FAILURE(busy.TakesTheLastBlock());
  WaitFor("finished", "b");
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"busy flashed", 1}, {"b flashed", 1}}));
  EXPECT_EQ(ImagesSentTo(board), 1U);
}

class FlickeringPort : public WatchProgram {
 protected:
  void Flicker(int times, const std::string& device) const {
    for (int i = 0; i < times; ++i) {
      Plug("a", device);
      Unplug("a");
    }
  }

  // Whether it was begun since then, and has ended.
  bool IsServedSince(const std::string& time) {
    bool has_begun = false;
    for (const Json& event : Events()) {
      const bool is_of_port = event.value("port", "") == ports_.Path("a");
      has_begun |= is_of_port && event.at("event") == "started" && event.at("time") >= time;
      if (is_of_port && has_begun && event.at("event") == "finished") {
        return true;
      }
    }
    return false;
  }
};

TEST_F(FlickeringPort, IsFlashedForItsLastComingAndAtMostOnceForEach) {
  SimulatedBoard board(kInBootloader);
  Start();
  Flicker(99, board.Path());
  const std::string last_coming = UtcNow();
  Plug("a", board.Path());
  WaitUntil([&] { return IsServedSince(last_coming); }, "upload after the last coming");
  EXPECT_THAT(ResultsAfterOneMore(), ElementsAre(Pair("a flashed", AllOf(Ge(1), Le(100)))));
}

TEST_F(FlickeringPort, IsNoPortWhenItHasGoneBeforeAnythingWasBegun) {
  const PlayedBoard busy;
  const SimulatedBoard board(kInBootloader);
  Plug("busy", busy.Path());
  Start({"--jobs", "1"});
  ASSERT_NO_FATAL_FAILURE(busy.GetsABlockAfter(0));
  Flicker(50, board.Path());
  ASSERT_NO_FATAL_FAILURE(busy.TakesTheLastBlock());
  WaitFor("finished", "busy");
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"busy flashed", 1}}));
}

TEST_F(FlickeringPort, IsFlashedOnceWhenItFlickeredWhileItWaitedForItsTurn) {
  const PlayedBoard busy;
  SimulatedBoard board(kInBootloader);
  Plug("busy", busy.Path());
  Start({"--jobs", "1"});
  ASSERT_NO_FATAL_FAILURE(busy.GetsABlockAfter(0));
  Flicker(50, board.Path());
  Plug("a", board.Path());
  ASSERT_NO_FATAL_FAILURE(busy.TakesTheLastBlock());
  WaitFor("finished", "a");
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"busy flashed", 1}, {"a flashed", 1}}));
  EXPECT_EQ(ImagesSentTo(board), 1U);
}

// While it is in work. That a board which came later is flashed shows that all was seen.
class FlickeringInWork : public FlickeringPort {
 protected:
  void Begin() {
    Plug("a", board_.Path());
    Start();
    board_.GetsABlockAfter(0);
    Unplug("a");
    Flicker(50, board_.Path());
  }

  void EndTheFirst() {
    Plug("other", other_.Path());
    WaitFor("finished", "other");
    EXPECT_EQ(Count("finished", "a"), 0U);
    board_.TakesTheLastBlock();
    WaitFor("finished", "a");
  }

  const PlayedBoard board_{};
  const SimulatedBoard other_{kInBootloader};
};

TEST_F(FlickeringInWork, IsFlashedOnceMoreAfterwards) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  Plug("a", board_.Path());
  ASSERT_NO_FATAL_FAILURE(EndTheFirst());
  ASSERT_NO_FATAL_FAILURE(board_.GetsABlockAfter(0));
  ASSERT_NO_FATAL_FAILURE(board_.TakesTheLastBlock());
  WaitFor("finished", "a", 2);
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"a flashed", 2}, {"other flashed", 1}}));
}

TEST_F(FlickeringInWork, IsFlashedAndLeftAloneWhenItHasGone) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(EndTheFirst());
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"a flashed", 1}, {"other flashed", 1}}));
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
