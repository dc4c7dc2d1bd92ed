// What a board is asked, and what is told of its answers.
#include <gtest/gtest.h>
#include <kvo/bootloadertms/BootLoader.h>

#include <cerrno>
#include <functional>
#include <map>
#include <string>
#include <system_error>
#include <utility>

#include "boards/Tasks.h"
#include "boards/ports/BoardPort.h"
#include "support/FakeTime.h"
#include "unit/boards/AnsweringPort.h"

namespace kvo::boards::testing {
namespace {

using namespace std::chrono_literals;
using bootloadertms::testing::FakeTime;

class AskTest : public ::testing::Test {
 protected:
  Outcome AskWith(AnsweringPort& port) {
    bootloadertms::BootLoader client(
        std::make_unique<PortDecorator>(static_cast<bootloadertms::ISerialPort&>(port)));
    return Ask(client,
               [this](const Event& event) {
                 if (event.kind == EventKind::kAnswer && !event.Text().empty()) {
                   answers_[std::string(NameOf(event.field))] = event.Text();
                 }
               })
        .outcome;
  }

  std::map<std::string, std::string> answers_;
  FakeTime time_{[](std::chrono::nanoseconds asked) { return asked; }};
};

TEST_F(AskTest, ABootloaderTellsOfItselfAndOfItsApplication) {
  AnsweringPort port("", {"A", "SN1\r\n", "HW2\r\n", "U\r\n", "V3\r\n", "v4\r\n", "APP 5\r\n"});
  EXPECT_EQ(AskWith(port), Outcome::kAnswered);
  EXPECT_EQ(answers_, (std::map<std::string, std::string>{{"state", "bootloader"},
                                                          {"serial", "SN1"},
                                                          {"hardware", "HW2"},
                                                          {"version_upper", "V3"},
                                                          {"version_lower", "v4"},
                                                          {"application_information", "APP 5"}}));
  EXPECT_EQ(port.sent, "0shpVv9");
}

TEST_F(AskTest, AnApplicationTellsItsBootStatus) {
  AnsweringPort port("", {"ping_callback_function\r\n", "BOOT\r\n", "SN1\r\n", "HW2\r\n", "P3\r\n",
                          "V4\r\n", "v5\r\n"});
  EXPECT_EQ(AskWith(port), Outcome::kAnswered);
  EXPECT_EQ(answers_, (std::map<std::string, std::string>{{"state", "application"},
                                                          {"serial", "SN1"},
                                                          {"hardware", "HW2"},
                                                          {"product", "P3"},
                                                          {"version_upper", "V4"},
                                                          {"version_lower", "v5"},
                                                          {"boot_status", "BOOT"}}));
  EXPECT_EQ(port.sent, "0bshpVv");
}

TEST_F(AskTest, AnApplicationWithoutABootStatusTellsTheRest) {
  AnsweringPort port("", {"ping_callback_function", "", "SN1", "", "", "", "v5"});
  EXPECT_EQ(AskWith(port), Outcome::kAnswered);
  EXPECT_EQ(answers_, (std::map<std::string, std::string>{
                          {"state", "application"}, {"serial", "SN1"}, {"version_lower", "v5"}}));
}

TEST_F(AskTest, ABoardThatAnswersOnlyALaterPingIsKnown) {
  AnsweringPort port("", {"", "?", "U", "A"});
  EXPECT_EQ(AskWith(port), Outcome::kAnswered);
  EXPECT_EQ(answers_.at("state"), "bootloader");
}

TEST_F(AskTest, WhatABootloaderDoesNotKnowIsNoAnswer) {
  AnsweringPort port("", {"A", "SN1\r\n", "U", "U", "U", "U", "U"});
  EXPECT_EQ(AskWith(port), Outcome::kAnswered);
  EXPECT_EQ(answers_,
            (std::map<std::string, std::string>{{"state", "bootloader"}, {"serial", "SN1"}}));
}

TEST_F(AskTest, ABoardThatDoesNotAnswerIsSilentAfterThreeSeconds) {
  const auto began = time_.Now(CLOCK_MONOTONIC);
  AnsweringPort port;
  EXPECT_EQ(AskWith(port), Outcome::kSilent);
  EXPECT_EQ(port.sent.find_first_not_of('0'), std::string::npos);
  EXPECT_EQ(time_.Now(CLOCK_MONOTONIC) - began, 3s);
}

TEST_F(AskTest, NoPingIsBegunThatWouldMostlyBeTooLate) {
  for (const auto& [text_takes, silent_after] :
       {std::pair(200ms, 3000ms), std::pair(1200ms, 2600ms), std::pair(2200ms, 2300ms),
        std::pair(2000ms, 2100ms), std::pair(1600ms, 3400ms)}) {
    const auto began = time_.Now(CLOCK_MONOTONIC);
    AnsweringPort port;
    port.text_takes = text_takes;
    EXPECT_EQ(AskWith(port), Outcome::kSilent);
    EXPECT_EQ(time_.Now(CLOCK_MONOTONIC) - began, silent_after);
  }
}

// Whichever answer it fails to bring.
TEST_F(AskTest, APortsFailuresPassThrough) {
  class FailingPort : public AnsweringPort {
   public:
    using AnsweringPort::AnsweringPort;
    void Read(std::string& data) override {
      if (reads_left_-- == 0) {
        fail_();
      }
      AnsweringPort::Read(data);
    }
    void FailAfter(int reads, const std::function<void()>& fail) {
      reads_left_ = reads;
      fail_ = fail;
    }

   private:
    int reads_left_ = 0;
    std::function<void()> fail_;
  };
  const auto ask = [this](const std::string& ping, int reads, const std::function<void()>& fail) {
    FailingPort port("", {ping, "1\r\n", "2\r\n", "3\r\n", "4\r\n", "5\r\n", "6\r\n"});
    port.FailAfter(reads, fail);
    AskWith(port);
  };
  const auto lose = [] { throw PortFailure(Reason::kLost, "the port is gone"); };
  const auto fail = [] { throw std::system_error(ENOLCK, std::generic_category()); };
  for (const char* ping : {"A", "ping_callback_function\r\n"}) {
    for (int reads = 0; reads < 7; ++reads) {
      EXPECT_THROW(ask(ping, reads, lose), PortFailure) << ping << reads;
      EXPECT_THROW(ask(ping, reads, fail), std::system_error) << ping << reads;
    }
  }
}

}  // namespace
}  // namespace kvo::boards::testing
