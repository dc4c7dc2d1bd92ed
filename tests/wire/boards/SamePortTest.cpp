// Which names lead to the same port.
#include <gtest/gtest.h>
#include <netdb.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "boards/ports/PortAddress.h"
#include "support/FakeTime.h"
#include "support/Files.h"
#include "support/TestTerminal.h"
#include "wire/boards/FailingCall.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::FakeTime;
using bootloadertms::testing::TemporaryFolder;
using bootloadertms::testing::TestTerminal;

bool AreSame(const std::string& one, const std::string& other) {
  std::vector<PortAddress> ports = {ParsePort(one), ParsePort(other)};
  Resolve(ports);
  return IsSamePort(ports.at(0), ports.at(1));
}

TEST(SamePortTest, ADeviceIsTheSameByAnyPath) {
  const TestTerminal terminal;
  const TestTerminal other;
  const TemporaryFolder folder;
  std::filesystem::create_symlink(terminal.Path(), folder.Path("link"));
  EXPECT_TRUE(AreSame(terminal.Path(), folder.Path("link")));
  EXPECT_TRUE(AreSame(terminal.Path(), "/dev/../dev/./" + terminal.Path().substr(5)));
  EXPECT_FALSE(AreSame(terminal.Path(), other.Path()));
}

TEST(SamePortTest, AFileThatIsNoDeviceIsTheSameByAnyPath) {
  const TemporaryFolder folder;
  const std::string file = folder.WriteFile("file", "");
  std::filesystem::create_hard_link(file, folder.Path("link"));
  EXPECT_TRUE(AreSame(file, folder.Path("link")));
  EXPECT_FALSE(AreSame(file, folder.WriteFile("other", "")));
}

TEST(SamePortTest, AMissingDeviceIsTheSameByThePathThatItWouldHave) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.Path("folder"));
  std::filesystem::create_directory_symlink(folder.Path("folder"), folder.Path("link"));
  EXPECT_TRUE(AreSame(folder.Path("folder/none"), folder.Path("link/./none")));
  EXPECT_FALSE(AreSame(folder.Path("folder/none"), folder.Path("folder/other")));
  EXPECT_FALSE(AreSame(folder.Path("folder/none"), folder.WriteFile("file", "")));
  EXPECT_TRUE(AreSame("none/", std::filesystem::current_path() / "none/"));
}

TEST(SamePortTest, AServerIsTheSameByNameAndAddress) {
  EXPECT_TRUE(AreSame("tcp:localhost:4000", "tcp:127.0.0.1:4000"));
  EXPECT_TRUE(AreSame("tcp:[::1]:4000", "tcp:[0:0::1]:4000"));
  EXPECT_TRUE(AreSame("tcp:[::ffff:127.0.0.1]:4000", "tcp:127.0.0.1:4000"));
  EXPECT_FALSE(AreSame("tcp:localhost:4000", "tcp:127.0.0.1:4001"));
  EXPECT_FALSE(AreSame("tcp:127.0.0.2:4000", "tcp:127.0.0.1:4000"));
  EXPECT_FALSE(AreSame("tcp:[::1]:4000", "tcp:127.0.0.1:4000"));
}

TEST(ResolveTest, ANameThatIsNoneLeadsNowhere) {
  std::vector<PortAddress> ports = {ParsePort("tcp:[::1%none]:1"), ParsePort("tcp:127.0.0.1:1")};
  Resolve(ports);
  EXPECT_TRUE(ports.at(0).addresses.empty());
  EXPECT_EQ(ports.at(1).addresses.size(), 1U);
}

// What is still being looked up is never freed, so another process tries it.
TEST(ResolveTest, ANameIsLookedUpForFiveSecondsAtMost) {
  const auto look_up = [] {
    FakeTime time([](std::chrono::nanoseconds asked) { return asked; });
    testing::FailingCall not_yet("gai_error", 0, EAI_INPROGRESS, 1000);
    not_yet.on_call = [&time] { time.Sleep(std::chrono::seconds(1)); };
    std::vector<PortAddress> ports = {ParsePort("tcp:127.0.0.1:1")};
    const std::chrono::nanoseconds start = time.Now(CLOCK_MONOTONIC);
    Resolve(ports);
    // One of them asks at the end, and one asks for the result.
    const bool took_five_seconds = time.Now(CLOCK_MONOTONIC) - start == std::chrono::seconds(6);
    ::_exit(took_five_seconds && ports.front().addresses.empty() ? 0 : 1);
  };
  EXPECT_EXIT(look_up(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace kvo::boards
