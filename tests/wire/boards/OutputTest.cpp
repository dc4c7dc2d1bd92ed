#include "boards/display/Output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <future>
#include <string>

#include "boards/UniqueDescriptor.h"
#include "support/Files.h"
#include "support/TestTerminal.h"
#include "support/TextPipe.h"
#include "wire/boards/FailingCall.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::ReadFile;
using bootloadertms::testing::TemporaryFolder;
using bootloadertms::testing::TestTerminal;
using bootloadertms::testing::TextPipe;

// More than a pipe or a terminal takes.
const std::string kMuch(1'000'000, 'x');

UniqueDescriptor OpenNearEnd(const TestTerminal& terminal) {
  return UniqueDescriptor(::open(terminal.Path().c_str(), O_RDWR | O_NOCTTY));
}

bool IsWritable(int descriptor) {
  pollfd awaited{descriptor, POLLOUT, 0};
  return ::poll(&awaited, 1, 0) == 1;
}

TEST(OutputTest, WhatAFullPipeDoesNotTakeFollowsInOrder) {
  const TextPipe pipe;
  Output output(pipe.Writer());
  output.Write(kMuch);
  output.Write("the end");
  EXPECT_EQ(output.Awaited(), pipe.Writer());
  EXPECT_FALSE(IsWritable(output.Awaited()));
  std::string text;
  while (!output.IsIdle()) {
    text += pipe.Take();
    output.Flush();
  }
  EXPECT_EQ(output.Awaited(), -1);
  EXPECT_EQ(text + pipe.Take(), kMuch + "the end");
}

TEST(OutputTest, TextThatCanBeDoneWithoutIsDroppedWhenMuchIsQueued) {
  const TextPipe pipe;
  Output output(pipe.Writer());
  output.WriteUnlessFull(kMuch);
  output.WriteUnlessFull("dropped");
  output.Write("kept");
  std::string text;
  while (!output.IsIdle()) {
    text += pipe.Take();
    output.Flush();
  }
  EXPECT_EQ(text + pipe.Take(), kMuch + "kept");
}

TEST(OutputTest, AReaderThatIsGoneGetsNothingAndNobodyWaits) {
  std::signal(SIGPIPE, SIG_IGN);
  TextPipe pipe;
  Output output(pipe.Writer());
  output.Write(kMuch);
  pipe.CloseReader();
  output.Drain();
  EXPECT_TRUE(output.IsIdle());
  output.Write("more");
  EXPECT_EQ(output.Awaited(), -1);
}

TEST(OutputTest, DescriptorsThatTakeNothingAreGivenUp) {
  for (const int flags : {O_WRONLY, O_RDONLY}) {
    const UniqueDescriptor descriptor(::open("/dev/full", flags));
    Output output(descriptor.Get());
    output.Write("text");
    EXPECT_TRUE(output.IsIdle()) << flags;
  }
}

TEST(OutputTest, DrainingEndsWhenTheReaderTakesNothing) {
  const TextPipe pipe;
  Output output(pipe.Writer());
  output.Write(kMuch);
  output.Drain(std::chrono::milliseconds(1));
  EXPECT_TRUE(output.IsIdle());
}

TEST(OutputTest, DrainingWaitsForAReaderThatTakesSomething) {
  const TextPipe pipe;
  Output output(pipe.Writer());
  output.Write(kMuch);
  auto drained = std::async(std::launch::async, [&output] { output.Drain(); });
  std::string text;
  while (drained.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
    text += pipe.Take();
  }
  EXPECT_EQ(text + pipe.Take(), kMuch);
}

TEST(OutputTest, AFileTakesEverything) {
  const TemporaryFolder folder;
  const std::string path = folder.WriteFile("output", "");
  const UniqueDescriptor descriptor(::open(path.c_str(), O_WRONLY));
  Output output(descriptor.Get());
  output.Write(kMuch);
  EXPECT_TRUE(output.IsIdle());
  EXPECT_EQ(ReadFile(path), kMuch);
}

TEST(OutputTest, ATerminalThatIsStoppedBlocksNobodyAndGoesOnLater) {
  const TestTerminal terminal;
  const UniqueDescriptor near_end = OpenNearEnd(terminal);
  ::tcflow(near_end.Get(), TCOOFF);
  Output output(near_end.Get());
  output.Write("first\n");
  output.Write("second\n");
  EXPECT_FALSE(output.IsIdle());
  ::tcflow(near_end.Get(), TCOON);
  output.Drain();
  EXPECT_EQ(terminal.Receive(15), "first\r\nsecond\r\n");
}

TEST(OutputTest, OthersThatShareATerminalKeepTheirMode) {
  const TestTerminal terminal;
  const UniqueDescriptor near_end = OpenNearEnd(terminal);
  Output output(near_end.Get());
  output.Write(kMuch);
  EXPECT_FALSE(output.IsIdle());
  EXPECT_EQ(::fcntl(near_end.Get(), F_GETFL) & O_NONBLOCK, 0);
  EXPECT_NE(::fcntl(output.Awaited(), F_GETFL) & O_NONBLOCK, 0);
}

TEST(OutputTest, ATerminalThatHangsUpIsGivenUp) {
  TestTerminal terminal;
  const UniqueDescriptor near_end = OpenNearEnd(terminal);
  Output output(near_end.Get());
  terminal.HangUp();
  output.Write("text");
  EXPECT_TRUE(output.IsIdle());
}

TEST(OutputTest, AnInterruptedWriteIsDoneLaterAndAFailedOneIsTheLast) {
  const TextPipe pipe;
  Output output(pipe.Writer());
  {
    const testing::FailingCall interrupted("write", EINTR);
    output.Write("one");
  }
  output.Write("two");
  EXPECT_EQ(pipe.Take(), "onetwo");
  {
    const testing::FailingCall failed("write", EIO);
    output.Write("lost");
  }
  output.Write("more");
  EXPECT_EQ(pipe.Take(), "");
}

}  // namespace
}  // namespace kvo::boards
