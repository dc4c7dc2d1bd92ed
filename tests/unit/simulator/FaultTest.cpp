#include "simulator/Fault.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "simulator/FaultPlan.h"

namespace kvo::boardsimulator {
namespace {

using std::chrono::milliseconds;

std::string ComplaintAbout(std::string_view text) {
  try {
    ParseFault(text);
  } catch (const std::invalid_argument& complaint) {
    return complaint.what();
  }
  return "none";
}

std::string Complaint(const std::string& text, const std::string& about) {
  return "fault '" + text + "': " + about;
}

TEST(FaultTest, EachActionIsKnown) {
  EXPECT_EQ(ParseFault("nak@eot").action, FaultAction::kNak);
  EXPECT_EQ(ParseFault("c@eot").action, FaultAction::kAskAgain);
  EXPECT_EQ(ParseFault("can@eot").action, FaultAction::kCancel);
  EXPECT_EQ(ParseFault("byte=46@eot").action, FaultAction::kByte);
  EXPECT_EQ(ParseFault("silence@eot").action, FaultAction::kSilence);
  EXPECT_EQ(ParseFault("late=250@eot").action, FaultAction::kLate);
  EXPECT_EQ(ParseFault("lost-ack@eot").action, FaultAction::kLostAck);
  EXPECT_EQ(ParseFault("double-ack@eot").action, FaultAction::kDoubleAck);
  EXPECT_EQ(ParseFault("hangup@eot").action, FaultAction::kHangUp);
}

TEST(FaultTest, EachPlaceIsKnown) {
  EXPECT_EQ(ParseFault("nak@start").place, (Place{PlaceKind::kStart, 0}));
  EXPECT_EQ(ParseFault("nak@packet0").place, (Place{PlaceKind::kPacketZero, 0}));
  EXPECT_EQ(ParseFault("nak@block:1").place, (Place{PlaceKind::kBlock, 1}));
  EXPECT_EQ(ParseFault("nak@block:300").place, (Place{PlaceKind::kBlock, 300}));
  EXPECT_EQ(ParseFault("nak@eot").place, (Place{PlaceKind::kEndOfFile, 0}));
  EXPECT_EQ(ParseFault("nak@closing").place, (Place{PlaceKind::kClosing, 0}));
  EXPECT_EQ(ParseFault("nak@verdict").place, (Place{PlaceKind::kVerdict, 0}));
}

TEST(FaultTest, ValuesAreRead) {
  EXPECT_EQ(ParseFault("byte=4F@verdict").byte, 0x4F);
  EXPECT_EQ(ParseFault("byte=fe@verdict").byte, 0xFE);
  EXPECT_EQ(ParseFault("late=0@verdict").delay, milliseconds(0));
  EXPECT_EQ(ParseFault("late=3600000@verdict").delay, milliseconds(3'600'000));
}

TEST(FaultTest, HappensOnceUnlessToldOtherwise) {
  EXPECT_EQ(ParseFault("nak@eot").times, 1U);
  EXPECT_EQ(ParseFault("nak@eot/1").times, 1U);
  EXPECT_EQ(ParseFault("nak@block:2/17").times, 17U);
  EXPECT_EQ(ParseFault("nak@eot/always").times, std::nullopt);
}

TEST(FaultTest, KeepsItsText) { EXPECT_EQ(ParseFault("nak@block:2/17").text, "nak@block:2/17"); }

TEST(FaultTest, UnknownWordsAreRefusedWithTheKnownOnes) {
  EXPECT_EQ(ComplaintAbout("ack@eot"),
            "fault 'ack@eot': unknown action 'ack', there are: nak, c, can, byte, silence, late, "
            "lost-ack, double-ack, hangup");
  EXPECT_EQ(ComplaintAbout("nak@end"),
            "fault 'nak@end': unknown place 'end', there are: start, packet0, block, eot, closing, "
            "verdict");
  EXPECT_EQ(ComplaintAbout("NAK@eot").substr(0, 37), "fault 'NAK@eot': unknown action 'NAK'");
  EXPECT_EQ(ComplaintAbout("@eot").substr(0, 31), "fault '@eot': unknown action ''");
  EXPECT_EQ(ComplaintAbout("nak@").substr(0, 30), "fault 'nak@': unknown place ''");
  EXPECT_EQ(ComplaintAbout(" nak@eot").substr(0, 39), "fault ' nak@eot': unknown action ' nak'");
}

TEST(FaultTest, PlaceIsNeeded) {
  EXPECT_EQ(ComplaintAbout(""), "fault '': no '@', expected ACTION@PLACE[/TIMES]");
  EXPECT_EQ(ComplaintAbout("nak"), "fault 'nak': no '@', expected ACTION@PLACE[/TIMES]");
}

TEST(FaultTest, ByteNeedsTwoHexadecimalDigits) {
  const std::string complaint = "'byte' needs two hexadecimal digits, as in byte=46";
  EXPECT_EQ(ComplaintAbout("byte@eot"), "fault 'byte@eot': " + complaint);
  for (const std::string text :
       {"byte=@eot", "byte=4@eot", "byte=146@eot", "byte=4g@eot", "byte=-4@eot", "byte=+4@eot"}) {
    EXPECT_EQ(ComplaintAbout(text), Complaint(text, complaint));
  }
}

TEST(FaultTest, LateNeedsMilliseconds) {
  for (const std::string text : {"late@eot", "late=@eot", "late=x@eot", "late=1s@eot",
                                 "late=-1@eot", "late=3600001@eot", "late=99999999999@eot"}) {
    EXPECT_EQ(ComplaintAbout(text),
              Complaint(text, "the milliseconds of 'late' must be a number from 0 to 3600000"));
  }
}

TEST(FaultTest, OtherActionsTakeNoValue) {
  EXPECT_EQ(ComplaintAbout("nak=1@eot"), "fault 'nak=1@eot': 'nak' takes no value");
  EXPECT_EQ(ComplaintAbout("hangup=@eot"), "fault 'hangup=@eot': 'hangup' takes no value");
}

TEST(FaultTest, BlockNeedsItsNumber) {
  for (const std::string text : {"nak@block", "nak@block:", "nak@block:0", "nak@block:-1",
                                 "nak@block:x", "nak@block:1x", "nak@block:4294967296"}) {
    EXPECT_EQ(ComplaintAbout(text), Complaint(text,
                                              "the number of the block must be a number from 1 to "
                                              "4294967295"));
  }
}

TEST(FaultTest, OtherPlacesTakeNoNumber) {
  EXPECT_EQ(ComplaintAbout("nak@eot:1"), "fault 'nak@eot:1': 'eot' takes no number");
}

TEST(FaultTest, TimesAreANumberOrAlways) {
  for (const std::string text :
       {"nak@eot/", "nak@eot/0", "nak@eot/-1", "nak@eot/ever", "nak@eot/2/3", "nak@eot/2x"}) {
    EXPECT_EQ(
        ComplaintAbout(text),
        Complaint(text, "if not 'always', what follows '/' must be a number from 1 to 4294967295"));
  }
}

TEST(FaultTest, RightAnswerAtTheStartIsNoFault) {
  EXPECT_EQ(ComplaintAbout("c@start"),
            "fault 'c@start': at the start 'C' is the right answer, this fault would change "
            "nothing");
}

TEST(FaultPlanTest, EmptyPlanHasNoFaults) {
  FaultPlan plan;
  EXPECT_FALSE(plan.Take({PlaceKind::kStart, 0}));
}

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
  for (int time = 0; time < 1000; ++time) EXPECT_TRUE(plan.Take({PlaceKind::kEndOfFile, 0}));
}

TEST(FaultPlanTest, FaultsOfOnePlaceFollowEachOther) {
  FaultPlan plan({ParseFault("c@packet0"), ParseFault("nak@eot"), ParseFault("nak@packet0")});
  EXPECT_EQ(plan.Take({PlaceKind::kPacketZero, 0}).value().action, FaultAction::kAskAgain);
  EXPECT_EQ(plan.Take({PlaceKind::kPacketZero, 0}).value().action, FaultAction::kNak);
  EXPECT_FALSE(plan.Take({PlaceKind::kPacketZero, 0}));
}

}  // namespace
}  // namespace kvo::boardsimulator
