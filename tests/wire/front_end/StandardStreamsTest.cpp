#include "front_end/Utility.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace kvo::bootloadertms {
namespace {

dev_t DeviceOf(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 ? status.st_rdev : 0;
}

// Each test of these runs in a process of its own, whose exit status is 0 if all was well.
[[noreturn]] void EndBy(bool all_was_well) {
  std::exit(all_was_well ? EXIT_SUCCESS : EXIT_FAILURE);
}

[[noreturn]] void DetachWithout(int stream) {
  const dev_t nothing = DeviceOf(::open("/dev/null", O_RDWR));
  ::close(stream);
  ProtectStandardStreams();
  EndBy(nothing != 0 && DeviceOf(stream) == nothing);
}

TEST(StandardStreamsDeathTest, AClosedStreamLeadsToNothing) {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    EXPECT_EXIT(DetachWithout(stream), ::testing::ExitedWithCode(0), "") << stream;
  }
}

[[noreturn]] void DetachWithAll() {
  const int free_before = ::dup(STDIN_FILENO);
  ::close(free_before);
  ProtectStandardStreams();
  EndBy(::dup(STDIN_FILENO) == free_before);
}

TEST(StandardStreamsDeathTest, OpenStreamsAreLeftAlone) {
  EXPECT_EXIT(DetachWithAll(), ::testing::ExitedWithCode(0), "");
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

[[noreturn]] void DetachWhereTheSignalIsIgnored() {
  std::signal(SIGPIPE, SIG_IGN);
  ProtectStandardStreams();
  EndBy(std::signal(SIGPIPE, SIG_DFL) == SIG_IGN);
}

TEST(StandardStreamsDeathTest, ASignalThatIsIgnoredStaysIgnored) {
  EXPECT_EXIT(DetachWhereTheSignalIsIgnored(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace kvo::bootloadertms
