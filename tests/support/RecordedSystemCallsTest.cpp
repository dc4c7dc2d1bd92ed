#include "support/RecordedSystemCalls.h"

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <optional>
#include <stdexcept>

#include "support/TemporaryFolder.h"
#include "support/TestTerminal.h"

namespace kvo::bootloadertms::testing {
namespace {

using Texts = std::vector<std::string>;

// A file open for writing.
class OpenFile {
 public:
  OpenFile() : descriptor_(::open(path_.c_str(), O_RDWR)) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() { ::close(descriptor_); }

  ssize_t Write(const std::string& data) const {
    return ::write(descriptor_, data.data(), data.size());
  }
  std::string WriteText(const std::string& arguments) const {
    return "write(" + std::to_string(descriptor_) + ", " + arguments + ")";
  }
  std::string Content() const { return ReadFile(path_); }

 private:
  TemporaryFolder folder_;
  std::string path_ = folder_.WriteFile("file", "");
  int descriptor_;
};

TEST(RecordedSystemCallsTest, OpenIsWrittenDownWithItsFlagsAndOpens) {
  const RecordedSystemCalls calls;
  const int descriptor = ::open("/dev/null", O_RDWR | O_NOCTTY | O_SYNC);
  EXPECT_EQ(calls.Texts(), Texts{R"(open("/dev/null", 0x101102))"});
  EXPECT_EQ(::fcntl(descriptor, F_GETFL) & O_ACCMODE, O_RDWR);
  ::close(descriptor);
}

TEST(RecordedSystemCallsTest, OpenWithFlagsKnownOnlyAtRunTimeIsWrittenDown) {
  const RecordedSystemCalls calls;
  volatile int flags = O_WRONLY;
  ::close(::open("/dev/null", flags));
  EXPECT_EQ(calls.Texts(), Texts{R"(open("/dev/null", 0x1))"});
}

TEST(RecordedSystemCallsTest, OpenForLargeFilesIsWrittenDown) {
  const RecordedSystemCalls calls;
  volatile int flags = O_WRONLY;
  ::close(::open64("/dev/null", O_RDONLY));
  ::close(::open64("/dev/null", flags));
  EXPECT_EQ(calls.Texts(), (Texts{R"(open("/dev/null", 0x0))", R"(open("/dev/null", 0x1))"}));
}

TEST(RecordedSystemCallsTest, OpenHandsTheModeOfANewFileOn) {
  const TemporaryFolder folder;
  const std::string path = folder.Path("new");
  const RecordedSystemCalls calls;
  ::close(::open(path.c_str(), O_CREAT | O_WRONLY, 0400));
  EXPECT_EQ(calls.Texts(), Texts{"open(\"" + path + "\", 0x41)"});
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms::owner_read);
}

TEST(RecordedSystemCallsTest, AFailedOpenIsWrittenDownAndFails) {
  const RecordedSystemCalls calls;
  EXPECT_EQ(::open("/dev/no-such-file", O_RDONLY), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(calls.Texts(), Texts{R"(open("/dev/no-such-file", 0x0))"});
}

TEST(RecordedSystemCallsTest, WritesAreWrittenDownAndWrite) {
  const OpenFile file;
  const RecordedSystemCalls calls;
  EXPECT_EQ(file.Write(std::string("a\0b", 3)), 3);
  EXPECT_EQ(file.Write(""), 0);
  EXPECT_EQ(calls.Texts(),
            (Texts{file.WriteText(std::string("\"a\0b\", 3", 8)), file.WriteText("\"\", 0")}));
  EXPECT_EQ(file.Content(), std::string("a\0b", 3));
}

TEST(RecordedSystemCallsTest, AScriptedFailureSendsNothing) {
  const OpenFile file;
  RecordedSystemCalls calls;
  calls.FailWrite(2, EIO);
  EXPECT_EQ(file.Write("a"), 1);
  EXPECT_EQ(file.Write("b"), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(file.Write("c"), 1);
  EXPECT_EQ(calls.Texts(), (Texts{file.WriteText("\"a\", 1"), file.WriteText("\"b\", 1"),
                                  file.WriteText("\"c\", 1")}));
  EXPECT_EQ(file.Content(), "ac");
}

TEST(RecordedSystemCallsTest, AShortenedWriteSendsTheFirstBytes) {
  const OpenFile file;
  RecordedSystemCalls calls;
  calls.ShortenWrite(1, 2);
  calls.ShortenWrite(2, 0);
  EXPECT_EQ(file.Write("abc"), 2);
  EXPECT_EQ(file.Write("d"), 0);
  EXPECT_EQ(calls.Texts(), (Texts{file.WriteText("\"abc\", 3"), file.WriteText("\"d\", 1")}));
  EXPECT_EQ(file.Content(), "ab");
}

TEST(RecordedSystemCallsTest, AScriptedWriteThatDoesNotComeFailsTheTest) {
  EXPECT_NONFATAL_FAILURE(RecordedSystemCalls().FailWrite(1, EIO), "write 1 did not come");
}

TEST(RecordedSystemCallsTest, TerminalCallsAreWrittenDownAndTakeEffect) {
  const TestTerminal terminal;
  const int descriptor = ::open(terminal.Path().c_str(), O_RDWR | O_NOCTTY);
  termios settings = terminal.Settings();
  settings.c_cc[VTIME] = 9;
  {
    const RecordedSystemCalls calls;
    EXPECT_EQ(::tcflush(descriptor, TCIOFLUSH), 0);
    EXPECT_EQ(::tcsetattr(descriptor, TCSADRAIN, &settings), 0);
    EXPECT_EQ(::tcflush(-1, TCIFLUSH), -1);
    const std::string number = std::to_string(descriptor);
    EXPECT_EQ(calls.Texts(), (Texts{"tcflush(" + number + ", 2)", "tcsetattr(" + number + ", 1)",
                                    "tcflush(-1, 0)"}));
  }
  EXPECT_EQ(terminal.Settings().c_cc[VTIME], 9);
  ::close(descriptor);
}

TEST(RecordedSystemCallsTest, CommandsAreWrittenDownAndRun) {
  const RecordedSystemCalls calls;
  std::FILE* const pipe = ::popen("echo ran", "r");
  ASSERT_NE(pipe, nullptr);
  std::array<char, 16> output{};
  EXPECT_NE(std::fgets(output.data(), static_cast<int>(output.size()), pipe), nullptr);
  EXPECT_EQ(::pclose(pipe), 0);
  EXPECT_STREQ(output.data(), "ran\n");
  EXPECT_EQ(calls.Texts(), Texts{R"(popen("echo ran", "r"))"});
}

TEST(RecordedSystemCallsTest, NotesStandAmongTheCalls) {
  const OpenFile file;
  RecordedSystemCalls calls;
  calls.Note("before");
  file.Write("a");
  calls.Note("after");
  EXPECT_EQ(calls.Texts(), (Texts{"before", file.WriteText("\"a\", 1"), "after"}));
}

TEST(RecordedSystemCallsTest, WithoutAnObjectTheCallsGoToTheSystem) {
  const OpenFile file;
  std::optional<RecordedSystemCalls> calls(std::in_place);
  file.Write("a");
  calls.reset();
  EXPECT_EQ(file.Write("b"), 1);
  calls.emplace();
  EXPECT_EQ(calls->Texts(), Texts{});
  EXPECT_EQ(file.Content(), "ab");
}

TEST(RecordedSystemCallsTest, ASecondObjectIsRefused) {
  const RecordedSystemCalls calls;
  EXPECT_THROW(RecordedSystemCalls(), std::logic_error);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
