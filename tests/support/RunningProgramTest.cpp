#include "support/RunningProgram.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <system_error>
#include <thread>

namespace kvo::bootloadertms::testing {
namespace {

TEST(RunningProgramTest, TellsStatusAndBothOutputs) {
  RunningProgram program({"sh", "-c", "echo out; echo err >&2; exit 7"});
  EXPECT_EQ(program.Wait(), 7);
  EXPECT_EQ(program.Output(), "out\n");
  EXPECT_EQ(program.ErrorOutput(), "err\n");
}

TEST(RunningProgramTest, TellsTheSignalThatEndedIt) {
  RunningProgram program({"sh", "-c", "echo ready; exec sleep 300"});
  EXPECT_EQ(program.FirstLine(), "ready");
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait(), 128 + SIGTERM);
}

TEST(RunningProgramTest, TellsOneThatStillRuns) {
  RunningProgram program({"sleep", "300"});
  EXPECT_EQ(program.Wait(std::chrono::seconds(0)), -1);
}

TEST(RunningProgramTest, AddsToTheEnvironment) {
  RunningProgram program({"sh", "-c", "echo $ADDED; [ -n \"$PATH\" ]"}, {{"ADDED", "value"}});
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_EQ(program.Output(), "value\n");
}

TEST(RunningProgramTest, AnEndWithoutALineGivesAnEmptyOne) {
  RunningProgram program({"true"});
  EXPECT_EQ(program.FirstLine(), "");
}

TEST(RunningProgramTest, TellsHowItsOutputBegins) {
  RunningProgram program({"sh", "-c", "echo ready; exec sleep 300"});
  program.Prefer();
  PreferThisProcess();
  EXPECT_TRUE(program.OutputBeginsWith("rea"));
  EXPECT_FALSE(program.OutputBeginsWith("steady", std::chrono::seconds(0)));
  EXPECT_EQ(program.Wait(std::chrono::milliseconds(1)), -1);
}

TEST(RunningProgramTest, WhatItHasStartedEndsWithIt) {
  std::string started;
  {
    RunningProgram program({"sh", "-c", "sleep 300 & echo $!; wait"});
    started = program.FirstLine();
    EXPECT_NE(ReadFile("/proc/" + started + "/cmdline"), "");
  }
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::filesystem::exists("/proc/" + started) &&
         !ReadFile("/proc/" + started + "/cmdline").empty()) {
    ASSERT_LT(std::chrono::steady_clock::now(), limit) << "it still runs";
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

TEST(RunningProgramTest, AMissingProgramIsAnErrorOrStatus127) {
  int status = 127;
  try {
    status = RunningProgram({"/no/such/program"}).Wait();
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
  }
  EXPECT_EQ(status, 127);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
