#include "boards/EventChannel.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <string>

#include "boards/SignalQueue.h"
#include "boards/ports/FolderEvents.h"
#include "support/RuntimeErrorOf.h"
#include "wire/boards/FailingCall.h"

namespace kvo::boards::testing {
namespace {

class EventChannelTest : public ::testing::Test {
 protected:
  EventChannelTest() : EventChannelTest(MakeEventChannel()) {}
  explicit EventChannelTest(std::pair<UniqueDescriptor, UniqueDescriptor> ends)
      : workers_end_(std::move(ends.first)),
        sender_(workers_end_.Get()),
        receiver_(std::move(ends.second)) {}

  void SendRaw(const void* bytes, std::size_t count) const {
    ASSERT_EQ(::send(workers_end_.Get(), bytes, count, 0), static_cast<ssize_t>(count));
  }

  UniqueDescriptor workers_end_;
  EventSender sender_;
  EventReceiver receiver_;
};

Event Answer(const std::string& text) {
  Event event;
  event.kind = EventKind::kAnswer;
  event.field = Field::kSerial;
  event.SetText(text);
  return event;
}

TEST_F(EventChannelTest, EventsArriveWholeAndInOrder) {
  sender_.Send(Answer("one"));
  sender_.SendIfPossible(Answer("two"));
  EXPECT_EQ(receiver_.Receive()->event.Text(), "one");
  EXPECT_EQ(receiver_.Receive()->event.Text(), "two");
  EXPECT_FALSE(receiver_.Receive().has_value());
}

TEST_F(EventChannelTest, ADescriptorArrivesAsADuplicate) {
  std::array<int, 2> pipe{};
  ASSERT_EQ(::pipe(pipe.data()), 0);
  const UniqueDescriptor reads(pipe[0]);
  UniqueDescriptor writes(pipe[1]);
  sender_.SendWithDescriptor(Answer("ready"), writes.Get());
  writes.Close();
  const auto message = receiver_.Receive();
  EXPECT_EQ(message->event.Text(), "ready");
  ASSERT_EQ(::write(message->descriptor.Get(), "x", 1), 1);
  char byte = 0;
  EXPECT_EQ(::read(reads.Get(), &byte, 1), 1);
}

TEST_F(EventChannelTest, WhatIsNoEventIsDropped) {
  SendRaw("garbage", 7);
  const std::string too_long(sizeof(Event) + 1, '\0');
  SendRaw(too_long.data(), too_long.size());
  const std::string wrong_values(sizeof(Event), '\xFF');
  SendRaw(wrong_values.data(), wrong_values.size());
  sender_.Send(Answer("good"));
  EXPECT_EQ(receiver_.Receive()->event.Text(), "good");
}

TEST_F(EventChannelTest, TheEndOfTheWorkerLeavesNothingToWaitFor) {
  EXPECT_NE(receiver_.Descriptor(), -1);
  sender_.Send(Answer("last"));
  workers_end_.Close();
  EXPECT_TRUE(receiver_.Receive().has_value());
  EXPECT_FALSE(receiver_.Receive().has_value());
  EXPECT_EQ(receiver_.Descriptor(), -1);
}

TEST_F(EventChannelTest, AWorkerIsToldToGo) {
  receiver_.SendGo();
  EXPECT_TRUE(sender_.WaitForGo());
}

TEST_F(EventChannelTest, AWorkerDoesNotGoWithoutASupervisor) {
  receiver_ = EventReceiver();
  EXPECT_FALSE(sender_.WaitForGo());
}

TEST_F(EventChannelTest, ProgressIsLostRatherThanWaitedFor) {
  for (int i = 0; i < 100'000; ++i) {
    sender_.SendIfPossible(Answer("progress"));
  }
  int received = 0;
  while (receiver_.Receive()) {
    ++received;
  }
  EXPECT_GT(received, 0);
  EXPECT_LT(received, 100'000);
}

struct Need {
  const char* call;
  const char* message;
  std::function<void()> use;
};

// Of the supervisor, and in whose place nothing can be done.
TEST(SupervisorsNeedsTest, AreToldByTheCallThatFails) {
  for (const Need& row : {
           Need{"socketpair", "socketpair: Too many open files", [] { MakeEventChannel(); }},
           Need{"signalfd", "signalfd: Too many open files", [] { SignalQueue(); }},
           Need{"inotify_init1", "inotify: Too many open files", [] { FolderEvents(); }},
       }) {
    const FailingCall call(row.call, EMFILE);
    EXPECT_EQ(bootloadertms::testing::RuntimeErrorOf(row.use), row.message);
  }
}

TEST_F(EventChannelTest, ASignalLosesNothing) {
  receiver_.SendGo();
  for (const char* call : {"send", "sendmsg", "recvmsg", "recv"}) {
    const FailingCall interrupted(call, EINTR);
    sender_.Send(Answer("one"));
    sender_.SendWithDescriptor(Answer("two"), workers_end_.Get());
    EXPECT_EQ(receiver_.Receive()->event.Text(), "one");
    EXPECT_EQ(receiver_.Receive()->event.Text(), "two");
    receiver_.SendGo();
    EXPECT_TRUE(sender_.WaitForGo());
  }
}

TEST_F(EventChannelTest, WhatCannotBeReceivedNowIsThereLater) {
  sender_.Send(Answer("one"));
  for (const int error : {EINTR, ECONNRESET, ENOMEM}) {
    const FailingCall call("recvmsg", error, -1, 1'000'000);
    EXPECT_FALSE(receiver_.Receive().has_value());
  }
  EXPECT_EQ(receiver_.Receive()->event.Text(), "one");
}

TEST_F(EventChannelTest, AWorkerDoesNotGoByAnotherByte) {
  ASSERT_EQ(::send(receiver_.Descriptor(), "x", 1, 0), 1);
  EXPECT_FALSE(sender_.WaitForGo());
}

TEST_F(EventChannelTest, WithoutASupervisorNothingIsWaitedFor) {
  receiver_ = EventReceiver();
  sender_.Send(Answer("one"));
  sender_.SendWithDescriptor(Answer("two"), workers_end_.Get());
}

}  // namespace
}  // namespace kvo::boards::testing
