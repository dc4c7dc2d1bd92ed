#include "serial/PortInUse.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>

#include "support/Files.h"
#include "support/Processes.h"
#include "support/RuntimeErrorOf.h"
#include "support/TestTerminal.h"

namespace kvo::bootloadertms {
namespace {

using testing::CurrentPath;
using testing::PathOfThisProcess;
using testing::ReadFile;
using testing::RunningProgram;
using testing::RuntimeErrorOf;
using testing::StandInTools;
using testing::TemporaryFolder;
using testing::TestTerminal;

using ::testing::HasSubstr;

// Takes what this process and those that it starts write to standard error.
class StandardErrorInFile {
 public:
  StandardErrorInFile() : former_(::dup(STDERR_FILENO)) {
    const int file = ::open(path_.c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);
    ::dup2(file, STDERR_FILENO);
    ::close(file);
  }
  StandardErrorInFile(const StandardErrorInFile&) = delete;
  StandardErrorInFile& operator=(const StandardErrorInFile&) = delete;
  ~StandardErrorInFile() {
    ::dup2(former_, STDERR_FILENO);
    ::close(former_);
  }

  std::string Text() const { return ReadFile(path_); }

 private:
  TemporaryFolder folder_;
  std::string path_ = folder_.Path("standard-error");
  int former_;
};

// Lets this process open nothing more.
class NoDescriptors {
 public:
  NoDescriptors() {
    ::getrlimit(RLIMIT_NOFILE, &former_);
    const rlimit none{.rlim_cur = 0, .rlim_max = former_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
  }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;
  ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &former_); }

 private:
  rlimit former_{};
};

TEST(RunCommandTest, ReturnsAllThatTheCommandPrints) {
  EXPECT_EQ(RunCommand("echo one; echo two"), "one\ntwo\n");
  EXPECT_EQ(RunCommand("true"), "");
  EXPECT_EQ(RunCommand("printf '%0127d'"), std::string(127, '0'));
  EXPECT_EQ(RunCommand("printf '%0128d'"), std::string(128, '0'));
  EXPECT_EQ(RunCommand("printf '%0500d'"), std::string(500, '0'));
}

TEST(RunCommandTest, APieceEndsAtANulByte) {
  EXPECT_EQ(RunCommand("printf 'ab\\0cd\\nef\\n'"), "abef\n");
}

// The first 127 bytes are one piece, of which the NUL hides all; the rest is another.
TEST(RunCommandTest, APieceThatStartsWithANulByteIsLost) {
  EXPECT_EQ(RunCommand("printf '\\0%0200d'"), std::string(74, '0'));
}

TEST(RunCommandTest, ManyLinesComeBackWhole) {
  std::string text;
  for (std::size_t line = 0; line < 16384; ++line) {
    text += std::string(line % 63, 'a') + std::string(63 - line % 63, 'b') + '\n';
  }
  ASSERT_EQ(text.size(), 1048576U);
  const TemporaryFolder folder;
  EXPECT_EQ(RunCommand("cat " + folder.WriteFile("lines", text)), text);
}

TEST(RunCommandTest, LooksAtNoExitStatus) {
  EXPECT_EQ(RunCommand("echo shown; exit 3"), "shown\n");
}

TEST(RunCommandTest, StandardErrorOfTheCommandGoesToThatOfThisProgram) {
  const StandardErrorInFile err;
  EXPECT_EQ(RunCommand("sh -c 'echo hidden >&2'"), "");
  EXPECT_EQ(err.Text(), "hidden\n");
}

TEST(RunCommandTest, LeavesNoDescriptorOpen) {
  const int before = ::dup(STDERR_FILENO);
  ::close(before);
  RunCommand("true");
  const int after = ::dup(STDERR_FILENO);
  ::close(after);
  EXPECT_EQ(after, before);
}

TEST(RunCommandTest, AShellThatCannotBeStartedIsAnError) {
  EXPECT_EQ(RuntimeErrorOf([] {
              const NoDescriptors none;  // gone before the error is looked at, which may need some
              RunCommand("true");
            }),
            "popen() failed!");
}

class IsPortInUseTest : public ::testing::Test {
 protected:
  StandInTools tools_;
  PathOfThisProcess path_{tools_.Environment().at("PATH")};
};

TEST_F(IsPortInUseTest, AnyOutputCounts) {
  tools_.LsofPrints("\n");
  EXPECT_TRUE(IsPortInUse("/dev/ttyX"));
}

TEST_F(IsPortInUseTest, ATerminalProgramOnAnyDeviceIsBusy) {
  tools_.PsPrints(
      "root 1 sh\nroot 2 mini"
      "com -D /dev/ttyOther\n");
  EXPECT_TRUE(IsPortInUse("/dev/ttyX"));
}

TEST_F(IsPortInUseTest, OtherProcessesAreNot) {
  tools_.PsPrints(
      "root 1 sh\nroot 2 MINI"
      "COM\nroot 3 grep [m]inicom\n");
  EXPECT_FALSE(IsPortInUse("/dev/ttyX"));
}

TEST_F(IsPortInUseTest, ThePathGoesToTheShellUnquoted) {
  EXPECT_FALSE(IsPortInUse("/dev/a b; echo c >/dev/null"));
  EXPECT_EQ(tools_.Calls(), "lsof /dev/a b\nps -aux\n");
}

TEST(IsPortInUseWithRealToolsTest, MissingToolsCountAsNotBusyAndTheShellComplains) {
  const TemporaryFolder empty;
  const PathOfThisProcess path(empty.Path("bin"));
  const StandardErrorInFile err;
  EXPECT_FALSE(IsPortInUse("/dev/ttyX"));
  EXPECT_THAT(err.Text(), HasSubstr(": lsof: "));
  EXPECT_THAT(err.Text(), HasSubstr(": ps: "));
}

// The real lsof, and a `ps` that shows no terminal program, whatever this machine runs.
TEST(IsPortInUseWithRealToolsTest, ADeviceThatAProcessHoldsIsBusyUntilItEnds) {
  const TemporaryFolder folder;
  folder.WriteScript("bin/ps", "");
  const PathOfThisProcess path(folder.Path("bin") + ":" + CurrentPath());

  const TestTerminal terminal;
  EXPECT_FALSE(IsPortInUse(terminal.Path()));
  {
    RunningProgram holder(
        {"sh", "-c", "exec 3<>" + terminal.Path() + "; echo ready; exec sleep 300"});
    ASSERT_EQ(holder.FirstLine(), "ready");
    EXPECT_TRUE(IsPortInUse(terminal.Path()));
  }
  EXPECT_FALSE(IsPortInUse(terminal.Path()));
}

}  // namespace
}  // namespace kvo::bootloadertms
