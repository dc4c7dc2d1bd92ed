// Ports that come and go in real folders. A link to /dev/null or /dev/zero is a port as any other.
#include "boards/ports/PortWatch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/Files.h"
#include "support/TestTerminal.h"
#include "wire/boards/FailingCall.h"

namespace kvo::boards {
namespace {

using namespace std::chrono_literals;
using bootloadertms::testing::TemporaryFolder;
using bootloadertms::testing::TestTerminal;
namespace fs = std::filesystem;

class PortWatchTest : public ::testing::Test {
 protected:
  PortWatchTest() { Make("ports"); }

  fs::path At(const std::string& name) const { return folder_.Path(name); }
  void Make(const std::string& folder) const { fs::create_directories(At(folder)); }
  void Link(const std::string& name, const std::string& target = "/dev/null") const {
    fs::create_symlink(target, At(name));
  }
  void Remove(const std::string& name) const { ASSERT_GT(fs::remove_all(At(name)), 0U); }
  void Rename(const std::string& from, const std::string& to) const {
    fs::rename(At(from), At(to));
  }

  // Begins to watch for these patterns in the folder.
  void Begin(const std::vector<std::string>& patterns) {
    std::vector<std::string> paths;
    for (const std::string& pattern : patterns) {
      paths.push_back(folder_.Path(pattern));
    }
    watch_ = std::make_unique<PortWatch>(paths);
  }

  // What has changed, as "-ports/a +ports/a".
  std::string Changes(PortWatch::Clock::time_point now = {}) {
    const PortWatch::Changes changes = watch_->Look(now);
    std::string text;
    for (const std::string& path : changes.gone) {
      text += (text.empty() ? "-" : " -") + Short(path);
    }
    for (const PortWatch::Port& port : changes.come) {
      text += (text.empty() ? "+" : " +") + Short(port.path);
    }
    return text;
  }

  bool IsReadable() const {
    pollfd awaited{watch_->Descriptor(), POLLIN, 0};
    return ::poll(&awaited, 1, 0) == 1;
  }

  std::string Short(const std::string& path) const { return path.substr(folder_.Path("").size()); }

  TemporaryFolder folder_;
  std::unique_ptr<PortWatch> watch_;
};

TEST_F(PortWatchTest, TheFirstLookTellsWhatIsThereAndTheNextOnesWhatHasChanged) {
  Link("ports/b", "/dev/zero");
  Link("ports/a");
  Begin({"ports/*"});
  const PortWatch::Changes first = watch_->Look({});
  ASSERT_EQ(first.come.size(), 2U);
  EXPECT_EQ(first.come[0].path, folder_.Path("ports/a"));
  EXPECT_EQ(first.come[0].device, ::makedev(1, 3));
  EXPECT_EQ(first.come[1].path, folder_.Path("ports/b"));
  EXPECT_EQ(first.come[1].device, ::makedev(1, 5));
  EXPECT_FALSE(IsReadable());
  EXPECT_EQ(Changes(), "");
  Link("ports/c");
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(Changes(), "+ports/c");
  EXPECT_FALSE(IsReadable());
  Remove("ports/a");
  Remove("ports/c");
  EXPECT_EQ(Changes(), "-ports/a -ports/c");
}

TEST_F(PortWatchTest, AFolderThatCannotBeReadNowHasLostNothingAndIsReadASecondLater) {
  Link("ports/a");
  Begin({"ports/*"});
  EXPECT_EQ(Changes(), "+ports/a");
  Link("ports/b");
  {
    const testing::FailingCall opendir("opendir", EMFILE, 0);
    EXPECT_EQ(Changes(), "");
  }
  EXPECT_EQ(Changes(PortWatch::Clock::time_point(999ms)), "");
  EXPECT_EQ(Changes(PortWatch::Clock::time_point(1s)), "+ports/b");
}

TEST_F(PortWatchTest, WhatCannotBeReadOfChangesIsFoundASecondLater) {
  Begin({"ports/*"});
  EXPECT_EQ(Changes(), "");
  Link("ports/a");
  const testing::FailingCall read("read", EIO, -1, 1'000'000);
  EXPECT_EQ(Changes(PortWatch::Clock::time_point(999ms)), "");
  EXPECT_EQ(Changes(PortWatch::Clock::time_point(1s)), "+ports/a");
}

TEST_F(PortWatchTest, OnlyDevicesAndLinksToThemArePorts) {
  folder_.WriteFile("ports/file", "");
  Make("ports/folder");
  Link("ports/to_file", "file");
  Link("ports/to_folder", "folder");
  Link("ports/to_nothing", "nothing");
  Link("ports/to_itself", "to_itself");
  Link("ports/.hidden");
  ASSERT_EQ(::mkfifo(At("ports/pipe").c_str(), 0600), 0);
  Begin({"ports/*"});
  EXPECT_EQ(Changes(), "");
  Begin({"ports/.h*"});
  EXPECT_EQ(Changes(), "+ports/.hidden");
}

struct PatternRow {
  std::string pattern;
  std::string expected;
};

TEST_F(PortWatchTest, PatternsAreThoseOfTheShell) {
  for (const char* const name : {"ports/a1", "ports/a2", "ports/b1", "ports/[a]", "ports/x*"}) {
    Link(name);
  }
  Make("other");
  Link("other/a1");
  for (const PatternRow& row : std::vector<PatternRow>{
           {"ports/a?", "+ports/a1 +ports/a2"},
           {"ports/[ab]1", "+ports/a1 +ports/b1"},
           {"ports/[!a]*", "+ports/[a] +ports/b1 +ports/x*"},
           {"ports/a1", "+ports/a1"},
           {"ports/[a]", "+ports/[a]"},
           {"ports/x\\*", "+ports/x*"},
           {"*/a1", "+other/a1 +ports/a1"},
           {"p*//a1", "+ports/a1"},
           {"ports/c*", ""},
       }) {
    Begin({row.pattern});
    EXPECT_EQ(Changes(), row.expected) << row.pattern;
  }
  Begin({"ports/a*", "ports/*1"});
  EXPECT_EQ(Changes(), "+ports/a1 +ports/a2 +ports/b1");
}

TEST_F(PortWatchTest, APatternMayBeginAtTheCurrentFolder) {
  const fs::path former = fs::current_path();
  fs::current_path(At("ports"));
  watch_ = std::make_unique<PortWatch>(std::vector<std::string>{"*"});
  EXPECT_TRUE(watch_->Look({}).come.empty());
  Link("ports/a");
  const PortWatch::Changes changes = watch_->Look({});
  fs::current_path(former);
  ASSERT_EQ(changes.come.size(), 1U);
  EXPECT_EQ(changes.come[0].path, "a");
}

TEST_F(PortWatchTest, WhatIsReplacedHasGoneAndCome) {
  Link("ports/a");
  Begin({"ports/?"});
  EXPECT_EQ(Changes(), "+ports/a");

  Remove("ports/a");
  Link("ports/a");
  EXPECT_EQ(Changes(), "-ports/a +ports/a") << "made again";

  Link("ports/new");
  Rename("ports/new", "ports/a");
  EXPECT_EQ(Changes(), "-ports/a +ports/a") << "renamed over";

  Rename("ports/a", "ports/away");
  Rename("ports/away", "ports/a");
  EXPECT_EQ(Changes(), "-ports/a +ports/a") << "the same link, away for a moment";

  Remove("ports/a");
  Link("ports/a", "/dev/zero");
  EXPECT_EQ(Changes(), "-ports/a +ports/a") << "another device";
  EXPECT_EQ(Changes(), "");
}

TEST_F(PortWatchTest, AManyTimesReplacedPortHasComeOnce) {
  Begin({"ports/*"});
  EXPECT_EQ(Changes(), "");
  for (int i = 0; i < 100; ++i) {
    Link("ports/a");
    Remove("ports/a");
  }
  EXPECT_EQ(Changes(), "");
  Link("ports/a");
  EXPECT_EQ(Changes(), "+ports/a");
  for (int i = 0; i < 100; ++i) {
    Remove("ports/a");
    Link("ports/a");
  }
  EXPECT_EQ(Changes(), "-ports/a +ports/a");
}

TEST_F(PortWatchTest, WhatIsTouchedStays) {
  Link("ports/a");
  Begin({"ports/*"});
  EXPECT_EQ(Changes(), "+ports/a");
  ASSERT_EQ(::utimensat(AT_FDCWD, At("ports/a").c_str(), nullptr, AT_SYMLINK_NOFOLLOW), 0);
  Link("ports/b");
  EXPECT_EQ(Changes(), "+ports/b");
}

TEST_F(PortWatchTest, ADanglingLinkComesWhenItLeadsSomewhere) {
  Link("ports/a", "../far/link");
  Begin({"ports/*"});
  EXPECT_EQ(Changes(), "");
  Make("far");
  EXPECT_EQ(Changes(), "");
  Link("far/link", "farther/device");
  EXPECT_EQ(Changes(), "");
  Make("far/farther");
  EXPECT_EQ(Changes(), "");
  Link("far/farther/device");
  EXPECT_EQ(Changes(), "+ports/a");
  Remove("far/farther/device");
  EXPECT_EQ(Changes(), "-ports/a");
  Link("far/farther/device");
  EXPECT_EQ(Changes(), "+ports/a");
  Remove("far");
  EXPECT_EQ(Changes(), "-ports/a");
}

TEST_F(PortWatchTest, ADeviceThatIsReplacedByOneOfTheSameNumberHasGoneAndCome) {
  auto terminal = std::make_unique<TestTerminal>();
  const std::string path = terminal->Path();
  Link("ports/a", path);
  Begin({"ports/*"});
  EXPECT_EQ(Changes(), "+ports/a");
  terminal.reset();
  terminal = std::make_unique<TestTerminal>();
  if (terminal->Path() != path) {
    GTEST_SKIP() << "another process has got the number meanwhile";
  }
  EXPECT_EQ(Changes(), "-ports/a +ports/a");
}

TEST_F(PortWatchTest, FoldersMayComeLater) {
  Begin({"serial/by-*/x*"});
  EXPECT_EQ(Changes(), "");
  Make("serial");
  EXPECT_EQ(Changes(), "");
  Make("serial/by-path");
  EXPECT_EQ(Changes(), "");
  Link("serial/by-path/x1");
  EXPECT_EQ(Changes(), "+serial/by-path/x1");
  Make("serial/by-id");
  Link("serial/by-id/x1");
  EXPECT_EQ(Changes(), "+serial/by-id/x1");
  Remove("serial");
  EXPECT_EQ(Changes(), "-serial/by-id/x1 -serial/by-path/x1");
  Make("serial/by-path");
  Link("serial/by-path/x1");
  EXPECT_EQ(Changes(), "+serial/by-path/x1");
}

TEST_F(PortWatchTest, AFolderMayBeALinkThatIsReplaced) {
  Make("one");
  Make("two");
  Link("one/a");
  Link("two/b");
  Link("current", "one");
  Begin({"current/*"});
  EXPECT_EQ(Changes(), "+current/a");
  Remove("current");
  Link("current", "two");
  EXPECT_EQ(Changes(), "-current/a +current/b");
  Link("two/c");
  EXPECT_EQ(Changes(), "+current/c");
  Link("one/d");
  EXPECT_FALSE(IsReadable());
}

TEST_F(PortWatchTest, WhatHappensWhileTheQueueIsFullIsNotLost) {
  Link("device");
  Link("ports/port2", At("device"));
  Begin({"ports/port*"});
  EXPECT_EQ(Changes(), "+ports/port2");
  folder_.WriteFile("ports/a", "");
  for (int i = 0; i < 10000; ++i) {  // with two events each; the queue holds 16384
    ASSERT_EQ(std::rename(At("ports/a").c_str(), At("ports/b").c_str()), 0);
    ASSERT_EQ(std::rename(At("ports/b").c_str(), At("ports/a").c_str()), 0);
  }
  Link("ports/port1");
  Remove("device");
  Link("device", "/dev/zero");
  EXPECT_EQ(Changes(), "-ports/port2 +ports/port1 +ports/port2");
}

TEST_F(PortWatchTest, AFolderThatCannotBeWatchedIsLookedIntoOncePerSecond) {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "needs another user";
  }
  Make("ports/closed");
  fs::permissions(At("."), fs::perms(0711));
  fs::permissions(At("ports/closed"), fs::perms(0711));
  Begin({"ports/closed/a"});
  const PortWatch::Clock::time_point start = PortWatch::Clock::now();
  ASSERT_EQ(::seteuid(65534), 0);
  std::string changes = Changes(start);
  ASSERT_EQ(::seteuid(0), 0);
  EXPECT_EQ(changes, "");
  Link("ports/closed/a");
  ASSERT_EQ(::seteuid(65534), 0);
  changes = Changes(start + 999ms);
  const std::string later = Changes(start + 1s);
  ASSERT_EQ(::seteuid(0), 0);
  EXPECT_EQ(changes, "");
  EXPECT_EQ(later, "+ports/closed/a");
}

}  // namespace
}  // namespace kvo::boards
