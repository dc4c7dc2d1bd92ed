#include "simulator/YmodemReceiver.h"

#include "unit/simulator/ScriptedLine.h"

namespace kvo::boardsimulator {
namespace {

const Bytes kEnd = FromHex("04");

class YmodemReceiverTest : public OnScriptedLine {
 protected:
  Reception Receive() {
    AnswerSender answers(stream_, faults_, trace_);
    const BoardPacketZero policy({"TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"}, "");
    return YmodemReceiver(stream_, policy, answers, trace_, times_).Receive();
  }
  // Receives, which must end like this and send these bytes.
  Reception ReceiveUntil(ReceptionEnd end, const std::string& sent) {
    Reception reception = Receive();
    EXPECT_EQ(reception.end, end);
    EXPECT_EQ(line_.SentHex(), sent);
    return reception;
  }
  void Fault(std::string_view text) { faults_ = FaultPlan({ParseFault(text)}); }
  void ArriveStart(std::string_view length) { line_.Arrive(Packet(0, PacketZeroData(length))); }
  void ArriveEnd() { line_.Arrive(kEnd).Arrive(ClosingPacket()); }

  FaultPlan faults_;
  ReceiverTimes times_;
};

Bytes Block(std::uint8_t number, char letter) {
  return Packet(number, Bytes(1024, static_cast<std::uint8_t>(letter)));
}

TEST_F(YmodemReceiverTest, WholeImageIsReceived) {
  ArriveStart("1030");
  line_.Arrive(Packet(1, Pattern(1024))).Arrive(Packet(2, Padded(FromText("thetail"), 1024, 0xEE)));
  ArriveEnd();
  const Reception reception = ReceiveUntil(ReceptionEnd::kComplete, "43 06 43 06 06 06 43 06");
  EXPECT_TRUE(reception.whole);
  EXPECT_EQ(reception.blocks, 2U);
  EXPECT_EQ(reception.image, Pattern(1024) + FromText("thetai"));
}

TEST_F(YmodemReceiverTest, SmallBlocksMayFollowLargeOnes) {
  ArriveStart("1152");
  line_.Arrive(Packet(1, Pattern(1024))).Arrive(Packet(2, Pattern(128)));
  ArriveEnd();
  const Reception reception = Receive();
  EXPECT_TRUE(reception.whole);
  EXPECT_EQ(reception.image, Pattern(1024) + Pattern(128));
}

TEST_F(YmodemReceiverTest, EmptyImageHasNoBlocks) {
  ArriveStart("0");
  ArriveEnd();
  const Reception reception = ReceiveUntil(ReceptionEnd::kComplete, "43 06 43 06 43 06");
  EXPECT_TRUE(reception.whole);
  EXPECT_EQ(reception.blocks, 0U);
  EXPECT_TRUE(reception.image.empty());
}

TEST_F(YmodemReceiverTest, OtherNumberOfBlocksThanAnnouncedIsNotWhole) {
  const std::vector<std::pair<std::string, int>> rows = {{"1025", 1}, {"1024", 2}, {"0", 1}};
  for (const auto& [length, blocks] : rows) {
    ArriveStart(length);
    for (int number = 1; number <= blocks; ++number) {
      line_.Arrive(Block(static_cast<std::uint8_t>(number), 'a'));
    }
    ArriveEnd();
    const Reception reception = Receive();
    EXPECT_EQ(reception.end, ReceptionEnd::kComplete) << length;
    EXPECT_FALSE(reception.whole) << length;
  }
}

TEST_F(YmodemReceiverTest, BlockNumbersWrapAround) {
  ArriveStart("264192");
  for (int number = 1; number <= 258; ++number) {
    line_.Arrive(Block(static_cast<std::uint8_t>(number % 256), 'a'));
  }
  ArriveEnd();
  const Reception reception = Receive();
  EXPECT_EQ(reception.blocks, 258U);
  EXPECT_TRUE(reception.whole);
}

TEST_F(YmodemReceiverTest, AsksAtOnceAndEverySecond) {
  line_.Pause(3500);
  ArriveStart("0");
  ArriveEnd();
  ReceiveUntil(ReceptionEnd::kComplete, "43 43 43 43 06 43 06 43 06");
  EXPECT_EQ(line_.Times(), (std::vector<std::int64_t>{0, 1000, 2000, 3000, 3500, 3500, 3500}));
}

TEST_F(YmodemReceiverTest, NoiseDoesNotChangeTheAsking) {
  for (int byte = 0; byte < 10; ++byte) {
    line_.Pause(300).Arrive(FromHex("30"));
  }
  EXPECT_EQ(Receive().end, ReceptionEnd::kNobodySends);
  EXPECT_EQ(line_.Times(),
            (std::vector<std::int64_t>{0, 1000, 2000, 3000, 4000, 5000, 6000, 7000, 8000, 9000}));
  EXPECT_EQ(line_.NowInMs(), 10'000);
}

TEST_F(YmodemReceiverTest, NoAskingOnceAPacketHasBegun) {
  Bytes packet = Packet(0, PacketZeroData("0"));
  const Bytes last{packet.back()};
  packet.pop_back();
  line_.Pause(900).Arrive(packet).Pause(800).Arrive(last).Pause(2500);
  ArriveEnd();
  ReceiveUntil(ReceptionEnd::kComplete, "43 06 43 06 43 06");
}

TEST_F(YmodemReceiverTest, BadPacketsAreRefusedAndMayBeRepeated) {
  Bytes wrong_checksum = Block(1, 'a');
  wrong_checksum.back() ^= 1U;
  Bytes wrong_complement = Block(1, 'a');
  wrong_complement[2] ^= 1U;
  ArriveStart("1024");
  line_.Arrive(wrong_checksum).Arrive(wrong_complement).Arrive(Block(1, 'b'));
  ArriveEnd();
  const Reception reception = ReceiveUntil(ReceptionEnd::kComplete, "43 06 43 15 15 06 06 43 06");
  EXPECT_EQ(reception.image, Bytes(1024, 'b'));
}

TEST_F(YmodemReceiverTest, PacketCutShortIsRefused) {
  Bytes half = Block(1, 'a');
  half.resize(500);
  ArriveStart("1024");
  line_.Arrive(half).Pause(1500).Arrive(Block(1, 'a'));
  ArriveEnd();
  EXPECT_TRUE(ReceiveUntil(ReceptionEnd::kComplete, "43 06 43 15 06 06 43 06").whole);
  EXPECT_EQ(line_.Times().at(2), 1000);
}

TEST_F(YmodemReceiverTest, TimesMayBeShort) {
  times_.silence = std::chrono::milliseconds(200);
  ArriveStart("1024");
  line_.Arrive(FromHex("02 01"));
  ReceiveUntil(ReceptionEnd::kSilence, "43 06 43 15");
  EXPECT_EQ(line_.NowInMs(), 400);
  times_.ask_limit = std::chrono::milliseconds(1500);
  EXPECT_EQ(Receive().end, ReceptionEnd::kNobodySends);
  EXPECT_EQ(line_.NowInMs(), 1900);
}

TEST_F(YmodemReceiverTest, RepeatedPacketsAreAnsweredAgainAndKeptOnce) {
  ArriveStart("2048");
  ArriveStart("2048");
  line_.Arrive(Block(1, 'a')).Arrive(Block(1, 'a')).Arrive(Block(2, 'b')).Arrive(Block(2, 'b'));
  line_.Arrive(kEnd);
  ArriveEnd();
  const Reception reception =
      ReceiveUntil(ReceptionEnd::kComplete, "43 06 43 06 43 06 06 06 06 06 43 06 43 06");
  EXPECT_EQ(reception.blocks, 2U);
  EXPECT_EQ(reception.image, Bytes(1024, 'a') + Bytes(1024, 'b'));
}

TEST_F(YmodemReceiverTest, SkippedBlockAborts) {
  ArriveStart("3000");
  line_.Arrive(Block(1, 'a')).Arrive(Block(3, 'c'));
  const Reception reception = ReceiveUntil(ReceptionEnd::kCancelledByBoard, "43 06 43 06 18 18");
  EXPECT_FALSE(reception.whole);
  EXPECT_EQ(reception.blocks, 1U);
}

TEST_F(YmodemReceiverTest, OlderBlockAborts) {
  ArriveStart("3000");
  line_.Arrive(Block(1, 'a')).Arrive(Block(2, 'b')).Arrive(Block(1, 'a'));
  ReceiveUntil(ReceptionEnd::kCancelledByBoard, "43 06 43 06 06 18 18");
}

TEST_F(YmodemReceiverTest, BlockInPlaceOfPacketZeroAborts) {
  line_.Arrive(Block(1, 'a'));
  ReceiveUntil(ReceptionEnd::kCancelledByBoard, "43 18 18");
}

TEST_F(YmodemReceiverTest, ForeignPacketZeroIsRefusedUntilTheSenderCancels) {
  line_.Arrive(Packet(0, Padded(FromText("fw.bin"), 128, 0))).Pause(2000).Arrive(FromHex("18 18"));
  ReceiveUntil(ReceptionEnd::kCancelledBySender, "43 15");
}

TEST_F(YmodemReceiverTest, RightPacketZeroMayFollowARefusedOne) {
  line_.Arrive(ClosingPacket());
  ArriveStart("0");
  ArriveEnd();
  ReceiveUntil(ReceptionEnd::kComplete, "43 15 06 43 06 43 06");
}

TEST_F(YmodemReceiverTest, EndOfFileBeforePacketZeroIsRefused) {
  line_.Arrive(kEnd);
  ReceiveUntil(ReceptionEnd::kSilence, "43 15");
}

TEST_F(YmodemReceiverTest, CancelBetweenBlocksEndsTheAttempt) {
  ArriveStart("2048");
  line_.Arrive(Block(1, 'a')).Arrive(FromHex("18 18"));
  ReceiveUntil(ReceptionEnd::kCancelledBySender, "43 06 43 06");
}

TEST_F(YmodemReceiverTest, CancelBeforePacketZeroEndsTheAttempt) {
  line_.Arrive(FromHex("18 18"));
  EXPECT_EQ(Receive().end, ReceptionEnd::kCancelledBySender);
}

TEST_F(YmodemReceiverTest, CancelBytesWithinABlockAreData) {
  ArriveStart("1024");
  line_.Arrive(Packet(1, Bytes(1024, 0x18)));
  ArriveEnd();
  EXPECT_EQ(Receive().image, Bytes(1024, 0x18));
}

TEST_F(YmodemReceiverTest, SilenceAfterPacketZeroEndsTheAttempt) {
  line_.Pause(500);
  ArriveStart("1024");
  EXPECT_EQ(Receive().end, ReceptionEnd::kSilence);
  EXPECT_EQ(line_.NowInMs(), 3500);
}

TEST_F(YmodemReceiverTest, SilenceBeforeTheClosingPacketEndsTheAttempt) {
  ArriveStart("0");
  line_.Arrive(kEnd);
  EXPECT_FALSE(ReceiveUntil(ReceptionEnd::kSilence, "43 06 43 06 43").whole);
}

TEST_F(YmodemReceiverTest, SecondFileAborts) {
  ArriveStart("0");
  line_.Arrive(kEnd);
  ArriveStart("0");
  ReceiveUntil(ReceptionEnd::kCancelledByBoard, "43 06 43 06 43 18 18");
}

TEST_F(YmodemReceiverTest, OtherPacketInPlaceOfTheClosingOneAborts) {
  for (const Bytes& packet : {Packet(0, Bytes(1024)), Packet(1, Bytes(128))}) {
    ArriveStart("0");
    line_.Arrive(kEnd).Arrive(packet);
    EXPECT_EQ(Receive().end, ReceptionEnd::kCancelledByBoard);
  }
}

TEST_F(YmodemReceiverTest, BlockRefusedByAFaultIsTakenWhenRepeated) {
  Fault("nak@block:2/2");
  ArriveStart("2048");
  line_.Arrive(Block(1, 'a'));
  line_.Arrive(Block(2, 'x')).Arrive(Block(2, 'y')).Arrive(Block(2, 'b'));
  ArriveEnd();
  const Reception reception =
      ReceiveUntil(ReceptionEnd::kComplete, "43 06 43 06 15 15 06 06 43 06");
  EXPECT_EQ(reception.image, Bytes(1024, 'a') + Bytes(1024, 'b'));
}

TEST_F(YmodemReceiverTest, BlockWhoseAckIsLostIsKeptOnce) {
  Fault("lost-ack@block:1");
  ArriveStart("1024");
  line_.Arrive(Block(1, 'a')).Pause(500).Arrive(Block(1, 'a'));
  ArriveEnd();
  EXPECT_EQ(ReceiveUntil(ReceptionEnd::kComplete, "43 06 43 06 06 43 06").image, Bytes(1024, 'a'));
}

TEST_F(YmodemReceiverTest, FaultAtPacketZero) {
  Fault("c@packet0");
  ArriveStart("0");
  ArriveStart("0");
  ArriveEnd();
  ReceiveUntil(ReceptionEnd::kComplete, "43 43 06 43 06 43 06");
}

TEST_F(YmodemReceiverTest, FaultAtTheEndOfTheFile) {
  Fault("nak@eot/3");
  ArriveStart("0");
  for (int time = 0; time < 3; ++time) {
    line_.Arrive(kEnd);
  }
  ArriveEnd();
  ReceiveUntil(ReceptionEnd::kComplete, "43 06 43 15 15 15 06 43 06");
}

TEST_F(YmodemReceiverTest, FaultAtTheClosingPacket) {
  Fault("byte=55@closing");
  ArriveStart("0");
  ArriveEnd();
  line_.Arrive(ClosingPacket());
  ReceiveUntil(ReceptionEnd::kComplete, "43 06 43 06 43 55 06");
}

TEST_F(YmodemReceiverTest, CancelByAFaultEndsTheAttemptAtOnce) {
  Fault("can@block:1");
  ArriveStart("1024");
  line_.Arrive(Block(1, 'a')).Pause(100).Arrive(Block(1, 'a'));
  EXPECT_EQ(ReceiveUntil(ReceptionEnd::kCancelledByBoard, "43 06 43 18 18").blocks, 0U);
  EXPECT_EQ(line_.NowInMs(), 0);
}

TEST_F(YmodemReceiverTest, UnknownByteByAFaultLeavesTheAttemptToSilence) {
  Fault("byte=55@block:1");
  ArriveStart("1024");
  line_.Arrive(Block(1, 'a'));
  ReceiveUntil(ReceptionEnd::kSilence, "43 06 43 55");
}

TEST_F(YmodemReceiverTest, UnknownByteAtTheStartEndsTheAttempt) {
  Fault("byte=46@start");
  ReceiveUntil(ReceptionEnd::kCancelledByBoard, "46");
  EXPECT_EQ(line_.NowInMs(), 0);
}

TEST_F(YmodemReceiverTest, SilenceAtTheStartDelaysTheAskingByASecond) {
  Fault("silence@start/2");
  line_.Pause(2100);
  ArriveStart("0");
  ArriveEnd();
  EXPECT_EQ(Receive().end, ReceptionEnd::kComplete);
  EXPECT_EQ(line_.Times().front(), 2000);
}

TEST_F(YmodemReceiverTest, DoubleAckAtTheStartAsksTwice) {
  Fault("double-ack@start");
  ArriveStart("0");
  ArriveEnd();
  ReceiveUntil(ReceptionEnd::kComplete, "43 43 06 43 06 43 06");
}

}  // namespace
}  // namespace kvo::boardsimulator
