#include "simulator/AnswerSender.h"

#include <gtest/gtest.h>

#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

class AnswerSenderTest : public testing::Test {
 protected:
  // The board answers ACK 'C' to the end of the file while `fault` is in the plan.
  AnswerOutcome AnswerWith(std::string_view fault) {
    FaultPlan plan({ParseFault(fault)});
    AnswerSender answers(stream_, plan, trace_);
    return answers.Answer({PlaceKind::kEndOfFile}, FromHex("06 43"));
  }
  std::string Sent() const { return ToHex(line_.Sent()); }

  ScriptedLine line_;
  ByteStream stream_{line_};
  Trace trace_;
};

TEST_F(AnswerSenderTest, RightAnswerWithoutAFault) {
  EXPECT_EQ(AnswerWith("nak@closing"), AnswerOutcome::kTaken);
  EXPECT_EQ(Sent(), "06 43");
}

TEST_F(AnswerSenderTest, NakIsNotTaken) {
  EXPECT_EQ(AnswerWith("nak@eot"), AnswerOutcome::kNotTaken);
  EXPECT_EQ(Sent(), "15");
}

TEST_F(AnswerSenderTest, AskingAgainIsNotTaken) {
  EXPECT_EQ(AnswerWith("c@eot"), AnswerOutcome::kNotTaken);
  EXPECT_EQ(Sent(), "43");
}

TEST_F(AnswerSenderTest, CancelEndsTheAttempt) {
  EXPECT_EQ(AnswerWith("can@eot"), AnswerOutcome::kCancelled);
  EXPECT_EQ(Sent(), "18 18");
}

TEST_F(AnswerSenderTest, ByteReplacesTheAnswer) {
  EXPECT_EQ(AnswerWith("byte=7e@eot"), AnswerOutcome::kReplaced);
  EXPECT_EQ(Sent(), "7e");
}

TEST_F(AnswerSenderTest, SilenceIsNotTaken) {
  EXPECT_EQ(AnswerWith("silence@eot"), AnswerOutcome::kNotTaken);
  EXPECT_EQ(Sent(), "");
}

TEST_F(AnswerSenderTest, LateAnswerComesAfterItsTime) {
  EXPECT_EQ(AnswerWith("late=250@eot"), AnswerOutcome::kTaken);
  EXPECT_EQ(Sent(), "06 43");
  EXPECT_EQ(line_.AnswerTimes(), std::vector<std::int64_t>{250});
}

TEST_F(AnswerSenderTest, LostAckLeavesTheRest) {
  EXPECT_EQ(AnswerWith("lost-ack@eot"), AnswerOutcome::kTaken);
  EXPECT_EQ(Sent(), "43");
}

TEST_F(AnswerSenderTest, DoubleAckComesBeforeTheRest) {
  EXPECT_EQ(AnswerWith("double-ack@eot"), AnswerOutcome::kTaken);
  EXPECT_EQ(Sent(), "06 06 43");
}

TEST_F(AnswerSenderTest, HangUpEndsTheServing) {
  try {
    AnswerWith("hangup@eot");
    FAIL() << "the board went on";
  } catch (const ServingEnded& end) {
    EXPECT_EQ(end.Reason(), EndReason::kHangUp);
  }
  EXPECT_EQ(Sent(), "");
}

}  // namespace
}  // namespace kvo::boardsimulator
