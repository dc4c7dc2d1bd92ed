#include "log/LogMess.h"

#include <gtest/gtest.h>

#include <iostream>

#include "support/Output.h"

namespace kvo::bootloadertms {
namespace {

using testing::CapturedStream;

const LogMess kCopiedDuringStaticInitialisation = LogMess::GetInstance();

LogMess VerboseLog() {
  LogMess log;
  log.SetVerbose(true);
  return log;
}

TEST(LogMessTest, StartsSilent) {
  EXPECT_FALSE(LogMess().IsVerbose());
  EXPECT_FALSE(LogMess::GetInstance().IsVerbose());
  EXPECT_FALSE(kCopiedDuringStaticInitialisation.IsVerbose());
}

TEST(LogMessTest, SilentWritesNothingAtAll) {
  const CapturedStream out(std::cout);
  const LogMess log;
  log.Log("text");
  log.LogInline("text");
  EXPECT_EQ(out.TextWithFlushes(), "");
}

TEST(LogMessTest, LogWritesTheTextANewlineAndFlushes) {
  const CapturedStream out(std::cout);
  VerboseLog().Log("Activating bootloader");
  EXPECT_EQ(out.TextWithFlushes(), "Activating bootloader\n<flush>");
}

TEST(LogMessTest, LogOfAnEmptyTextIsANewline) {
  const CapturedStream out(std::cout);
  VerboseLog().Log("");
  EXPECT_EQ(out.TextWithFlushes(), "\n<flush>");
}

TEST(LogMessTest, LogInlineWritesTheTextAloneAndFlushes) {
  const CapturedStream out(std::cout);
  VerboseLog().LogInline("Send ...");
  VerboseLog().LogInline(" [OK]\n");
  EXPECT_EQ(out.TextWithFlushes(), "Send ...<flush> [OK]\n<flush>");
}

TEST(LogMessTest, WritesNulBytesToo) {
  const CapturedStream out(std::cout);
  VerboseLog().Log(std::string("OK\0", 3));
  EXPECT_EQ(out.Text(), std::string("OK\0\n", 4));
}

TEST(LogMessTest, BecomesSilentAgain) {
  const CapturedStream out(std::cout);
  LogMess log = VerboseLog();
  log.SetVerbose(false);
  EXPECT_FALSE(log.IsVerbose());
  log.Log("text");
  EXPECT_EQ(out.Text(), "");
}

TEST(LogMessTest, GetInstanceIsAlwaysTheSameObject) {
  EXPECT_EQ(&LogMess::GetInstance(), &LogMess::GetInstance());
}

TEST(LogMessTest, ACopyAndTheProcessWideLogKnowNothingOfEachOther) {
  LogMess copy = LogMess::GetInstance();
  copy.SetVerbose(true);
  EXPECT_FALSE(LogMess::GetInstance().IsVerbose());

  copy.SetVerbose(false);
  LogMess::GetInstance().SetVerbose(true);
  EXPECT_FALSE(copy.IsVerbose());
  LogMess::GetInstance().SetVerbose(false);
}

TEST(LogMessTest, ACopyTakesTheFlagAlong) {
  LogMess log = VerboseLog();
  const LogMess copy = log;
  log.SetVerbose(false);
  EXPECT_TRUE(copy.IsVerbose());
}

}  // namespace
}  // namespace kvo::bootloadertms
