#include "support/FakeTime.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <thread>
#include <vector>

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;
using std::chrono::system_clock;

nanoseconds SleepWhole(nanoseconds asked) { return asked; }

TEST(FakeTimeTest, SleepsTakeNoTimeAndAreTold) {
  std::vector<nanoseconds> sleeps;
  FakeTime time([&sleeps](nanoseconds asked) {
    sleeps.push_back(asked);
    return asked;
  });
  ::usleep(1'500'000);
  std::this_thread::sleep_for(2h);
  EXPECT_EQ(sleeps, (std::vector<nanoseconds>{1500ms, 2h}));
}

TEST(FakeTimeTest, TheClocksMoveBySleepsAlone) {
  FakeTime time(SleepWhole);
  const auto wall_start = system_clock::now();
  const auto steady_start = steady_clock::now();
  EXPECT_EQ(system_clock::now() - wall_start, 0ns);
  ::usleep(250);
  EXPECT_EQ(system_clock::now() - wall_start, 250us);
  EXPECT_EQ(steady_clock::now() - steady_start, 250us);
}

TEST(FakeTimeTest, TheWallClockCanBeSetAlone) {
  FakeTime time(SleepWhole);
  const auto wall_start = system_clock::now();
  const auto steady_start = steady_clock::now();
  time.AdvanceWallClock(3s);
  EXPECT_EQ(system_clock::now() - wall_start, 3s);
  EXPECT_EQ(steady_clock::now() - steady_start, 0s);
}

TEST(FakeTimeTest, ASleepCanBeInterrupted) {
  FakeTime time([](nanoseconds) { return 200ms; });
  const auto start = steady_clock::now();
  const timespec request{.tv_sec = 1, .tv_nsec = 500};
  timespec remaining{};
  EXPECT_EQ(::nanosleep(&request, &remaining), -1);
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(remaining.tv_sec, 0);
  EXPECT_EQ(remaining.tv_nsec, 800'000'500);
  EXPECT_EQ(steady_clock::now() - start, 200ms);
}

TEST(FakeTimeTest, WithoutAnObjectTheRealClockRuns) {
  timespec before{};
  ASSERT_EQ(::clock_gettime(CLOCK_MONOTONIC, &before), 0);
  std::this_thread::sleep_for(1ms);
  timespec after{};
  ASSERT_EQ(::clock_gettime(CLOCK_MONOTONIC, &after), 0);
  EXPECT_NE(before.tv_nsec, after.tv_nsec);
}

TEST(FakeTimeTest, ASecondObjectIsRefused) {
  FakeTime time(SleepWhole);
  EXPECT_THROW(FakeTime{SleepWhole}, std::logic_error);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
