// Which names kvo-boards watches, in which folders, and what isn't a port.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "program/boards/WatchProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

struct PatternRow {
  const char* name;
  const char* pattern;
  const char* matching;
  const char* other;
};

void PrintTo(const PatternRow& row, std::ostream* out) { *out << row.name; }

class WatchedPattern : public WatchProgram, public ::testing::WithParamInterface<PatternRow> {};

TEST_P(WatchedPattern, MatchesAsInAShellAlsoInFoldersThatComeLater) {
  const PatternRow& row = GetParam();
  const SimulatedBoard board(kInBootloader);
  const SimulatedBoard other(kInBootloader);
  const auto plug_both = [&] {
    Plug(row.other, other.Path());
    Plug(row.matching, board.Path());
  };
  plug_both();
  Start({}, {row.pattern, "last"});
  WaitFor("finished", row.matching);
  for (const auto& entry : std::filesystem::directory_iterator(ports_.Path(""))) {
    std::filesystem::remove_all(entry.path());
  }
  plug_both();
  WaitFor("finished", row.matching, 2);
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{std::string(row.matching) + " flashed", 2}}));
  EXPECT_FALSE(other.HasFlash());
}

INSTANTIATE_TEST_SUITE_P(
    WatchProgram, WatchedPattern,
    ::testing::Values(PatternRow{"Name", "tty1", "tty1", "tty10"},
                      PatternRow{"NameInAFolder", "serial/tty1", "serial/tty1", "tty1"},
                      PatternRow{"NoHiddenName", "*", "a", ".a"},
                      PatternRow{"HiddenName", ".t*", ".tty", "tty"},
                      PatternRow{"NoNameOfASubfolder", "*", "a", "b/a"},
                      PatternRow{"OneCharacter", "tty?", "tty1", "tty10"},
                      PatternRow{"OneOfARange", "tty[0-4]", "tty3", "tty5"},
                      PatternRow{"NoneOfARange", "tty[!0-4]", "tty5", "tty3"},
                      PatternRow{"Folders", "usb*/[pq]/tty?", "usb12/q/tty1", "usb12/r/tty1"},
                      PatternRow{"NoHiddenFolder", "*/tty", "usb/tty", ".usb/tty"},
                      PatternRow{"FolderAfterAWildcard", "*/serial/tty", "1/serial/tty",
                                 "1/parallel/tty"}),
    [](const auto& row) { return row.param.name; });

// A board that comes and goes with the folders on the way to it.
class WatchedFolder : public WatchProgram {
 protected:
  void Start() { WatchProgram::Start({}, {"serial/by-path/*", "last"}); }
  void WaitForComing(std::size_t number) { WaitFor("finished", "serial/by-path/a", number); }
  void ExpectComings(int number) {
    EXPECT_EQ(ResultsAfterOneMore(), (Results{{"serial/by-path/a flashed", number}}));
  }
  void Rename(const std::string& from, const std::string& to) const {
    std::filesystem::rename(ports_.Path(from), ports_.Path(to));
  }

  const SimulatedBoard board_{kInBootloader};
};

TEST_F(WatchedFolder, MayBeMadeAndRemovedAgainAndAgain) {
  constexpr int kComings = 10;
  Start();
  for (int coming = 1; coming <= kComings; ++coming) {
    Plug("serial/by-path/a", board_.Path());
    WaitForComing(static_cast<std::size_t>(coming));
    std::filesystem::remove_all(ports_.Path("serial"));
  }
  ExpectComings(kComings);
}

TEST_F(WatchedFolder, MayComeWithAllThatIsInIt) {
  Plug("elsewhere/by-path/a", board_.Path());
  Start();
  Rename("elsewhere", "serial");
  WaitForComing(1);
  Rename("serial", "elsewhere");
  Rename("elsewhere", "serial");
  WaitForComing(2);
  ExpectComings(2);
}

TEST_F(WatchedFolder, IsNoLongerWatchedUnderAnotherName) {
  Plug("serial/by-path/a", board_.Path());
  Start();
  WaitForComing(1);
  Rename("serial", "elsewhere");
  Unplug("elsewhere/by-path/a");
  Plug("elsewhere/by-path/a", board_.Path());
  ExpectComings(1);
}

TEST_F(WatchedFolder, MayBeALinkThatIsTurnedElsewhere) {
  const SimulatedBoard other(kInBootloader);
  Plug("one/a", board_.Path());
  Plug("two/a", other.Path());
  Plug("serial/by-path", "../one");
  Start();
  WaitForComing(1);
  EXPECT_FALSE(other.HasFlash());
  Plug("made", "../two");
  Rename("made", "serial/by-path");
  WaitForComing(2);
  EXPECT_EQ(other.Flash(), image_);
  Unplug("two/a");
  Plug("two/a", other.Path());
  WaitForComing(3);
  ExpectComings(3);
}

TEST_F(WatchedFolder, MayBeALinkToAFolderThatIsMadeAnew) {
  Plug("serial", "devices/serial");
  Start();
  for (std::size_t coming = 1; coming <= 2; ++coming) {
    Plug("devices/serial/by-path/a", board_.Path());
    WaitForComing(coming);
    std::filesystem::remove_all(ports_.Path("devices"));
  }
  ExpectComings(2);
}

TEST_F(WatchedFolder, MayBeRemovedWhileItsBoardIsInWork) {
  const PlayedBoard board;
  Plug("serial/by-path/a", board.Path());
  Start();
  ASSERT_NO_FATAL_FAILURE(board.GetsABlockAfter(0));
  std::filesystem::remove_all(ports_.Path("serial"));
  ASSERT_NO_FATAL_FAILURE(board.TakesTheLastBlock());
  WaitForComing(1);
  Plug("serial/by-path/a", board_.Path());
  WaitForComing(2);
  ExpectComings(2);
}

struct RelativeRow {
  const char* name;
  const char* pattern;
  const char* port;
};

void PrintTo(const RelativeRow& row, std::ostream* out) { *out << row.name; }

class RelativePattern : public WatchProgram, public ::testing::WithParamInterface<RelativeRow> {};

// It is told by the path that matched.
TEST_P(RelativePattern, IsMatchedByPathsLikeIt) {
  const SimulatedBoard board(kInBootloader);
  Plug("serial/a", board.Path());
  StartIn("serial", {"--count", "1"}, {GetParam().pattern});
  EXPECT_EQ(ResultsAtTheEnd(0), (Results{{GetParam().port + std::string(" flashed"), 1}}));
}

INSTANTIATE_TEST_SUITE_P(WatchProgram, RelativePattern,
                         ::testing::Values(RelativeRow{"Bare", "*", "a"},
                                           RelativeRow{"FromHere", "./?", "./a"},
                                           RelativeRow{"FromAbove", "../serial/a", "../serial/a"},
                                           RelativeRow{"AboveAWildcard", "../*/a", "../serial/a"}),
                         [](const auto& row) { return row.param.name; });

// Makes something at `path` that isn't a device.
struct NoPort {
  const char* name;
  void (*make)(const std::string& path);
};

void PrintTo(const NoPort& row, std::ostream* out) { *out << row.name; }

class WhatIsNoPort : public WatchProgram, public ::testing::WithParamInterface<NoPort> {};

TEST_P(WhatIsNoPort, IsIgnoredUntilABoardTakesItsPlace) {
  const SimulatedBoard board(kInBootloader);
  const SimulatedBoard other(kInBootloader);
  GetParam().make(ports_.Path("a"));
  Start();
  GetParam().make(ports_.Path("later"));
  Plug("other", other.Path());
  WaitFor("finished", "other");
  std::filesystem::remove_all(ports_.Path("a"));
  Plug("a", board.Path());
  WaitFor("finished", "a");
  EXPECT_EQ(ResultsAfterOneMore(), (Results{{"other flashed", 1}, {"a flashed", 1}}));
}

INSTANTIATE_TEST_SUITE_P(
    WatchProgram, WhatIsNoPort,
    ::testing::Values(
        NoPort{"File", [](const std::string& path) { std::ofstream(path) << "content"; }},
        NoPort{"Folder", [](const std::string& path) { std::filesystem::create_directory(path); }},
        NoPort{"Pipe", [](const std::string& path) { ::mkfifo(path.c_str(), 0600); }},
        NoPort{"LinkToItself",
               [](const std::string& path) { std::filesystem::create_symlink(path, path); }}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace kvo::bootloadertms::testing
