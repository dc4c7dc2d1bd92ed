#include "simulator/AnswerSender.h"
#include "simulator/FaultPlan.h"
#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

TEST(FaultPlanTest, FaultHappensAtItsPlaceAsOftenAsTold) {
  FaultPlan plan({ParseFault("nak@block:3/2")});
  EXPECT_FALSE(plan.Take({PlaceKind::kBlock, 2}));
  EXPECT_FALSE(plan.Take({PlaceKind::kEndOfFile, 0}));
  EXPECT_TRUE(plan.Take({PlaceKind::kBlock, 3}));
  EXPECT_TRUE(plan.Take({PlaceKind::kBlock, 3}));
  EXPECT_FALSE(plan.Take({PlaceKind::kBlock, 3}));
}

TEST(FaultPlanTest, AlwaysDoesNotEnd) {
  FaultPlan plan({ParseFault("nak@eot/always")});
  for (int time = 0; time < 1000; ++time) {
    EXPECT_TRUE(plan.Take({PlaceKind::kEndOfFile, 0}));
  }
}

TEST(FaultPlanTest, FaultsOfOnePlaceFollowEachOther) {
  FaultPlan plan({ParseFault("c@packet0"), ParseFault("nak@eot"), ParseFault("nak@packet0")});
  EXPECT_EQ(plan.Take({PlaceKind::kPacketZero, 0}).value().action, FaultAction::kAskAgain);
  EXPECT_EQ(plan.Take({PlaceKind::kPacketZero, 0}).value().action, FaultAction::kNak);
  EXPECT_FALSE(plan.Take({PlaceKind::kPacketZero, 0}));
}

class AnswerSenderTest : public OnScriptedLine {
 protected:
  // The board answers ACK 'C' to the end of the file while `fault` is in the plan.
  AnswerOutcome AnswerWith(std::string_view fault, ScriptedLine& line) {
    ByteStream stream(line);
    FaultPlan plan({ParseFault(fault)});
    AnswerSender answers(stream, plan, trace_);
    return answers.Answer({PlaceKind::kEndOfFile}, FromHex("06 43"));
  }
};

TEST_F(AnswerSenderTest, EachFaultChangesTheAnswerInItsWay) {
  struct Row {
    std::string_view fault;
    AnswerOutcome outcome;
    std::string_view sent;
    std::int64_t end_in_ms = 0;
  };
  const std::vector<Row> rows = {
      {"nak@closing", AnswerOutcome::kTaken, "06 43"},
      {"nak@eot", AnswerOutcome::kNotTaken, "15"},
      {"c@eot", AnswerOutcome::kNotTaken, "43"},
      {"can@eot", AnswerOutcome::kCancelled, "18 18"},
      {"byte=7e@eot", AnswerOutcome::kReplaced, "7e"},
      {"silence@eot", AnswerOutcome::kNotTaken, ""},
      {"late=250@eot", AnswerOutcome::kTaken, "06 43", 250},
      {"lost-ack@eot", AnswerOutcome::kTaken, "43"},
      {"double-ack@eot", AnswerOutcome::kTaken, "06 06 43"},
  };
  for (const Row& row : rows) {
    ScriptedLine line;
    EXPECT_EQ(AnswerWith(row.fault, line), row.outcome) << row.fault;
    EXPECT_EQ(line.SentHex(), row.sent) << row.fault;
    EXPECT_EQ(line.NowInMs(), row.end_in_ms) << row.fault;
    if (row.end_in_ms > 0) {  // and not before
      EXPECT_EQ(line.Times(), std::vector<std::int64_t>{row.end_in_ms});
    }
  }
}

TEST_F(AnswerSenderTest, FaultStandsInTheTrace) {
  AnswerWith("nak@eot/2", line_);
  EXPECT_EQ(trace_.Text(), "   0.000000 # fault nak@eot/2\n");
}

TEST_F(AnswerSenderTest, HangUpEndsTheServing) {
  try {
    AnswerWith("hangup@eot", line_);
    FAIL() << "the board went on";
  } catch (const ServingEnded& end) {
    EXPECT_EQ(end.Reason(), EndReason::kHangUp);
  }
  EXPECT_EQ(line_.SentHex(), "");
}

}  // namespace
}  // namespace kvo::boardsimulator
