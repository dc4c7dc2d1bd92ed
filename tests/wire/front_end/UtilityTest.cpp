#include "front_end/Utility.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <streambuf>
#include <string>
#include <vector>

#include "support/Files.h"
#include "support/Processes.h"
#include "support/TestTerminal.h"

namespace kvo::bootloadertms {
namespace {

using testing::OpenDescriptorsOf;
using testing::PathOfThisProcess;
using testing::StandInTools;
using testing::TestTerminal;

// Standard output that notes whether the device was open at its first text.
class WatchingOutput : private std::streambuf {
 public:
  explicit WatchingOutput(std::string device)
      : device_(std::move(device)), original_(std::cout.rdbuf(this)) {}
  WatchingOutput(const WatchingOutput&) = delete;
  WatchingOutput& operator=(const WatchingOutput&) = delete;
  ~WatchingOutput() override { std::cout.rdbuf(original_); }

  const std::string& Text() const { return text_; }
  bool WasHeldAtTheFirstText() const { return was_held_; }

 private:
  std::streamsize xsputn(const char* text, std::streamsize length) override {
    if (text_.empty()) {
      was_held_ = !OpenDescriptorsOf(device_).empty();
    }
    text_.append(text, static_cast<std::size_t>(length));
    return length;
  }

  std::string device_;
  std::streambuf* original_;
  std::string text_;
  bool was_held_ = false;
};

class UtilityTest : public ::testing::Test {
 protected:
  int Run(std::vector<const char*> after_the_device) {
    after_the_device.insert(after_the_device.begin(), {"the-program", terminal_.Path().c_str()});
    return RunUtility(static_cast<int>(after_the_device.size()), after_the_device.data());
  }

  const StandInTools tools_;
  const PathOfThisProcess path_{tools_.Environment().at("PATH")};
  const TestTerminal terminal_;
};

TEST_F(UtilityTest, ThePortIsClosedBeforeTheFailureIsTold) {
  const WatchingOutput out(terminal_.Path());
  EXPECT_EQ(Run({"115200", "--command", "zz"}), 1);
  EXPECT_EQ(out.Text(),
            "\nInvalid command : zz\n\nException :  Exiting boot loader utility for TMS\n\n");
  EXPECT_FALSE(out.WasHeldAtTheFirstText());
}

// Runs an action that succeeds and tells, when the process ends, whether the port is still open.
// Standard output goes where that is told.
void SendAByteAndTellOfThePort(const char* device, const char* last_switch) {
  static std::string watched;
  watched = device;
  std::cout.rdbuf(std::cerr.rdbuf());
  std::atexit([] {
    std::cerr << (OpenDescriptorsOf(watched).empty() ? "closed" : "still open") << std::endl;
  });
  const std::array<const char*, 6> arguments = {"the-program", device, "115200",
                                                "--send",      "41",   last_switch};
  RunUtility(6, arguments.data());
}

TEST_F(UtilityTest, ASuccessEndsTheProcessAtOnceAndLeavesThePortToTheSystem) {
  EXPECT_EXIT(SendAByteAndTellOfThePort(terminal_.Path().c_str(), "--no_active_bootloader"),
              ::testing::ExitedWithCode(0), ::testing::Eq("\nstill open\n"));
}

TEST_F(UtilityTest, VerboseTellsTheEndOfASuccess) {
  EXPECT_EXIT(SendAByteAndTellOfThePort(terminal_.Path().c_str(), "--verbose"),
              ::testing::ExitedWithCode(0),
              ::testing::Eq("Entering boot loader utility for TMS\n"
                            "\nSend CMD (41)...\n [OK]\n"
                            "\nExiting boot loader utility for TMS\n"
                            "still open\n"));
  EXPECT_EQ(terminal_.Receive(1), "A");
}

TEST_F(UtilityTest, VerboseIsFoundWhereverItStands) {
  const WatchingOutput out(terminal_.Path());
  EXPECT_EQ(Run({"115200", "--verbose", "x"}), 1);
  EXPECT_EQ(out.Text(),
            "Entering boot loader utility for TMS\n"
            "\nUnable to open file : --verbose\n"
            "\nException :  Exiting boot loader utility for TMS\n\n");
}

// The standard streams.

dev_t DeviceOf(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 ? status.st_rdev : 0;
}

// Each test of these runs in a process of its own, whose exit status is 0 if all was well.
[[noreturn]] void EndBy(bool all_was_well) {
  std::exit(all_was_well ? EXIT_SUCCESS : EXIT_FAILURE);
}

[[noreturn]] void ProtectWithout(int stream) {
  const dev_t nothing = DeviceOf(::open("/dev/null", O_RDWR));
  ::close(stream);
  ProtectStandardStreams();
  EndBy(nothing != 0 && DeviceOf(stream) == nothing);
}

TEST(StandardStreamsDeathTest, AClosedStreamLeadsToNothing) {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    EXPECT_EXIT(ProtectWithout(stream), ::testing::ExitedWithCode(0), "") << stream;
  }
}

[[noreturn]] void ProtectWithAll() {
  const int free_before = ::dup(STDIN_FILENO);
  ::close(free_before);
  ProtectStandardStreams();
  EndBy(::dup(STDIN_FILENO) == free_before);
}

TEST(StandardStreamsDeathTest, OpenStreamsAreLeftAlone) {
  EXPECT_EXIT(ProtectWithAll(), ::testing::ExitedWithCode(0), "");
}

[[noreturn]] void WriteToAPipeThatNobodyReads() {
  ProtectStandardStreams();
  std::array<int, 2> ends{};
  EXPECT_EQ(::pipe(ends.data()), 0);
  ::close(ends[0]);
  EndBy(::write(ends[1], "x", 1) == -1 && errno == EPIPE);
}

TEST(StandardStreamsDeathTest, AReaderThatGoesAwayIsSurvived) {
  EXPECT_EXIT(WriteToAPipeThatNobodyReads(), ::testing::ExitedWithCode(0), "");
}

[[noreturn]] void ProtectWhereTheSignalIsIgnored() {
  std::signal(SIGPIPE, SIG_IGN);
  ProtectStandardStreams();
  EndBy(std::signal(SIGPIPE, SIG_DFL) == SIG_IGN);
}

TEST(StandardStreamsDeathTest, ASignalThatIsIgnoredStaysIgnored) {
  EXPECT_EXIT(ProtectWhereTheSignalIsIgnored(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace kvo::bootloadertms
