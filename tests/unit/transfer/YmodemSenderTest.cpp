#include "transfer/YmodemSender.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "support/RuntimeErrorOf.h"
#include "support/Script.h"
#include "unit/transfer/EmptyImage.h"

namespace kvo::bootloadertms {
namespace {

using namespace std::string_literals;
using testing::Bytes;
using testing::kEmptyPacketZero;
using testing::operator+;
using testing::RuntimeErrorOf;
using testing::Script;
using testing::ScriptedSerialPort;

constexpr std::uint8_t kAck = 0x06;
constexpr std::uint8_t kNak = 0x15;
constexpr std::uint8_t kCan = 0x18;

Bytes AllBytesBut(const std::set<std::uint8_t>& exceptions) {
  Bytes bytes;
  for (unsigned value = 0; value < 256; ++value) {
    if (exceptions.count(static_cast<std::uint8_t>(value)) == 0) {
      bytes.push_back(static_cast<std::uint8_t>(value));
    }
  }
  return bytes;
}

Bytes BlockOfOnes(std::uint8_t number, std::uint8_t complement) {
  return Bytes{0x02, number, complement} + Bytes(1024, 0x01) + Bytes{0x41, 0x48};
}

// What a transfer to a "tv" board consists of; the tests put these steps in their order.
class YmodemSenderTest : public ::testing::Test {
 protected:
  YmodemSenderTest() { sender_.SetProgressCallback(script_.ProgressCallback()); }

  int Transmit(std::uint32_t length) {
    return sender_.Ymodem_Transmit(port_, image_.data(), "fw_tv.bin", length,
                                   BoardDefinition("fw_tv.bin"s));
  }
  int SendRecord(const AppInfos& infos) {
    return sender_.Ymodem_Transmit(port_, image_.data(), "any.bin", 3, infos);
  }
  int SendData(std::uint32_t length) {
    return sender_.SendDataPacket(port_, image_.data(), length);
  }

  void ReceiverAsksForPacketZero() { script_.AnswerByte('C').Print(testing::kReceiverAsked); }

  // Of an empty image.
  void PacketZeroGoesOut() {
    script_.Print(testing::kPacketZeroOfTvShown).Write(testing::kPacketZeroOfTv);
    script_.Print(testing::kPacketZeroSent);
  }
  void PacketZeroIsAcknowledged() {
    script_.AnswerByte(kAck).Print(testing::kPacketZeroAcknowledged);
  }
  void PacketZeroIsAccepted() {
    PacketZeroIsAcknowledged();
    script_.AnswerByte('C').Print(testing::kAskedAfterTheAcknowledge);
  }
  void PacketZeroIsAskedForAgain() {
    script_.AnswerByte('C').Print(testing::kPacketZeroAskedForAgain);
  }
  void SenderGivesUp() { script_.Print(testing::kGivenUp).Write({kCan, kCan}); }
  void BlockIsAcknowledged(double fraction) {
    script_.AnswerByte(kAck).Print(".").FlushOutput().Progress(false, fraction);
  }
  void EndOfFileIsAcknowledged() { script_.Write({0x04}).AnswerByte(kAck); }
  void TransferIsComplete() { script_.Print(testing::kTransferComplete).Progress(false, 1.0); }
  void ImageEnds() {
    EndOfFileIsAcknowledged();
    script_.AnswerByte('C').Write(kEmptyPacketZero).AnswerByte(kAck);
    TransferIsComplete();
  }

  Bytes image_ = Bytes(264192, 0x01);
  Script script_;
  ScriptedSerialPort port_{script_};
  YmodemSender sender_;
};

// The start.

TEST_F(YmodemSenderTest, AnEmptyImageIsPacketZeroAndEndOfFile) {
  ReceiverAsksForPacketZero();
  PacketZeroGoesOut();
  PacketZeroIsAccepted();
  script_.Progress(false, 0.0);
  ImageEnds();
  EXPECT_EQ(Transmit(0), 0);
}

TEST_F(YmodemSenderTest, AnythingButAStartIsIgnoredWhileWaiting) {
  for (const std::uint8_t value : AllBytesBut({'C', 'F'})) {
    script_.AnswerByte(value);
  }
  ReceiverAsksForPacketZero();
  PacketZeroGoesOut();
  script_.AnswerByte(kNak);
  SenderGivesUp();
  EXPECT_EQ(Transmit(0), 1);
}

TEST_F(YmodemSenderTest, AFailedReceiveCommandEndsTheTransferSilently) {
  script_.AnswerByte(0x00).AnswerByte('F').Print(" Command failed received \n");
  EXPECT_EQ(Transmit(0), 1);
}

// The answers to packet 0.

TEST_F(YmodemSenderTest, AnyOtherAnswerToPacketZeroGivesUp) {
  for (const std::uint8_t value : AllBytesBut({kAck, 'C'})) {
    ReceiverAsksForPacketZero();
    PacketZeroGoesOut();
    script_.AnswerByte(value);
    SenderGivesUp();
    EXPECT_EQ(Transmit(0), 1) << unsigned{value};
  }
}

TEST_F(YmodemSenderTest, PacketZeroGoesOutAgainForAFirstRequest) {
  ReceiverAsksForPacketZero();
  PacketZeroGoesOut();
  PacketZeroIsAskedForAgain();
  PacketZeroGoesOut();
  PacketZeroIsAccepted();
  script_.Progress(false, 0.0);
  ImageEnds();
  EXPECT_EQ(Transmit(0), 0);
}

TEST_F(YmodemSenderTest, AnyOtherAnswerAfterTheFirstRequestGivesUp) {
  for (const std::uint8_t value : AllBytesBut({kAck, kNak})) {
    ReceiverAsksForPacketZero();
    PacketZeroGoesOut();
    PacketZeroIsAskedForAgain();
    PacketZeroGoesOut();
    script_.AnswerByte(value);
    SenderGivesUp();
    EXPECT_EQ(Transmit(0), 1) << unsigned{value};
  }
}

TEST_F(YmodemSenderTest, NakAfterTheFirstRequestSendsPacketZeroAgainEachTime) {
  ReceiverAsksForPacketZero();
  PacketZeroGoesOut();
  PacketZeroIsAskedForAgain();
  script_.Times(20, [this](Script& steps) {
    PacketZeroGoesOut();
    steps.AnswerByte(kNak);
  });
  PacketZeroGoesOut();
  script_.AnswerByte(0x00);
  SenderGivesUp();
  EXPECT_EQ(Transmit(0), 1);
}

TEST_F(YmodemSenderTest, AnAcknowledgeWithoutARequestSendsPacketZeroAgain) {
  ReceiverAsksForPacketZero();
  for (const std::uint8_t value : AllBytesBut({'C'})) {
    PacketZeroGoesOut();
    PacketZeroIsAcknowledged();
    script_.AnswerByte(value);
  }
  PacketZeroGoesOut();
  script_.AnswerByte(kNak);  // the first request has not come, so this still gives up
  SenderGivesUp();
  EXPECT_EQ(Transmit(0), 1);
}

TEST_F(YmodemSenderTest, TheFirstRequestIsRememberedAcrossAnAcknowledge) {
  const auto up_to_the_acknowledge = [this] {
    ReceiverAsksForPacketZero();
    PacketZeroGoesOut();
    PacketZeroIsAskedForAgain();
    PacketZeroGoesOut();
    PacketZeroIsAcknowledged();
    script_.AnswerByte(0x00);
    PacketZeroGoesOut();
  };
  up_to_the_acknowledge();
  script_.AnswerByte(kNak);
  PacketZeroGoesOut();
  script_.AnswerByte(0x00);
  SenderGivesUp();
  EXPECT_EQ(Transmit(0), 1);

  up_to_the_acknowledge();
  script_.AnswerByte('C');
  SenderGivesUp();
  EXPECT_EQ(Transmit(0), 1);
}

TEST_F(YmodemSenderTest, AFailedTransferOfDataIsAFailedTransfer) {
  ReceiverAsksForPacketZero();
  PacketZeroGoesOut();
  PacketZeroIsAccepted();
  script_.Progress(false, 0.0).Write({0x04}).AnswerByte(kCan).Progress(true, 1.0);
  EXPECT_EQ(Transmit(0), 1);
}

// Packet 0's contents.

TEST_F(YmodemSenderTest, WithoutAFileNamePacketZeroIsAllZeros) {
  const auto packet_zero_is_all_zeros = [this] {
    ReceiverAsksForPacketZero();
    script_.Print(testing::kEmptyPacketZeroShown).Write(kEmptyPacketZero);
    script_.Print(testing::kPacketZeroSent).AnswerByte(kNak);
    SenderGivesUp();
  };
  packet_zero_is_all_zeros();
  EXPECT_EQ(sender_.Ymodem_Transmit(port_, image_.data(), "", 5, BoardDefinition("fw_tv.bin"s)), 1);
  packet_zero_is_all_zeros();
  EXPECT_EQ(sender_.Ymodem_Transmit(port_, image_.data(), "", 5, AppInfos("a", "b", "c")), 1);
}

TEST_F(YmodemSenderTest, ARecordIsSentAndShownAsItIs) {
  ReceiverAsksForPacketZero();
  script_.Print("PACKET 0 :\n3................\x01\n\xFF|B|C|" + std::string(103, '.'));
  script_.Write(testing::PacketZero(
      "3" + std::string(16, '\0') + "\x01\n\xFF|B|C|" + std::string(103, '\0'), {0xAD, 0xD1}));
  script_.Print(testing::kPacketZeroSent).AnswerByte(kNak);
  SenderGivesUp();
  EXPECT_EQ(SendRecord(AppInfos("\x01\n\xFF", "B", "C")), 1);
}

TEST_F(YmodemSenderTest, ARecordThatIsTooLongIsAnErrorOnceTheReceiverHasAsked) {
  ReceiverAsksForPacketZero();
  EXPECT_EQ(RuntimeErrorOf([this] { SendRecord(AppInfos(std::string(200, 'a'), "", "")); }),
            "Exceed size limit detected. Exiting");
}

// The blocks.

TEST_F(YmodemSenderTest, OneBlockIsSentForUpTo1024Bytes) {
  for (const std::uint32_t length : {1U, 1023U, 1024U}) {
    script_.Progress(false, 0.0).Write(BlockOfOnes(0x01, 0xFE));
    BlockIsAcknowledged(length == 1024 ? 2.0 / 4 : 2.0 / 3);
    ImageEnds();
    EXPECT_EQ(SendData(length), 1) << length;
  }
}

TEST_F(YmodemSenderTest, TheLastBlockTakesWhatFollowsTheImage) {
  image_ = Bytes(1025, 0x01) + Bytes(1023, 0xFF);
  script_.Progress(false, 0.0).Write(BlockOfOnes(0x01, 0xFE));
  BlockIsAcknowledged(2.0 / 4);
  script_.Write(Bytes{0x02, 0x02, 0xFD, 0x01} + Bytes(1023, 0xFF) + Bytes{0xF7, 0x00});
  BlockIsAcknowledged(3.0 / 4);
  ImageEnds();
  EXPECT_EQ(SendData(1025), 1);
}

TEST_F(YmodemSenderTest, BlocksAreNumberedModulo256AndCanEndsTheTransfer) {
  script_.Progress(false, 0.0);
  for (unsigned number = 1; number <= 256; ++number) {
    const auto low = static_cast<std::uint8_t>(number);
    script_.Write(BlockOfOnes(low, static_cast<std::uint8_t>(255 - low)));
    BlockIsAcknowledged((number + 1) / 260.0);
  }
  script_.Write(BlockOfOnes(0x01, 0xFE)).AnswerByte(kCan).Print("CAN SendDataPacket 257\n");
  script_.Progress(true, 257 / 260.0);
  EXPECT_EQ(SendData(257 * 1024), 0);
}

TEST_F(YmodemSenderTest, OnlyTheFirstBlockHasFourQuietResends) {
  script_.Progress(false, 0.0);
  for (int i = 0; i < 2; ++i) {
    script_.Write(BlockOfOnes(0x01, 0xFE)).AnswerByte(kNak).Print("NACK SendDataPacket 1\n");
    script_.Write(BlockOfOnes(0x01, 0xFE)).AnswerByte('C').Print("CRC SendDataPacket 1\n");
  }
  for (int i = 0; i < 3; ++i) {
    script_.Write(BlockOfOnes(0x01, 0xFE)).AnswerByte(kNak).Print("NACK SendDataPacket 1\n");
    script_.FlushOutput().Progress(false, 1.0 / 5);
  }
  script_.Write(BlockOfOnes(0x01, 0xFE));
  BlockIsAcknowledged(2.0 / 5);
  for (int i = 0; i < 10; ++i) {
    script_.Write(BlockOfOnes(0x02, 0xFD)).AnswerByte('C').Print("CRC SendDataPacket 2\n");
    script_.FlushOutput().Progress(false, 2.0 / 5);
  }
  script_.Write(BlockOfOnes(0x02, 0xFD));
  BlockIsAcknowledged(3.0 / 5);
  ImageEnds();
  EXPECT_EQ(SendData(2048), 1);
}

TEST_F(YmodemSenderTest, AnAcknowledgeUsesUpTheQuietResendsThatAreLeft) {
  script_.Progress(false, 0.0);
  for (int i = 0; i < 2; ++i) {
    script_.Write(BlockOfOnes(0x01, 0xFE)).AnswerByte(kNak).Print("NACK SendDataPacket 1\n");
  }
  script_.Write(BlockOfOnes(0x01, 0xFE));
  BlockIsAcknowledged(2.0 / 5);
  script_.Write(BlockOfOnes(0x02, 0xFD)).AnswerByte(kNak).Print("NACK SendDataPacket 2\n");
  script_.FlushOutput().Progress(false, 2.0 / 5);
  script_.Write(BlockOfOnes(0x02, 0xFD)).AnswerByte(kCan).Print("CAN SendDataPacket 2\n");
  script_.Progress(true, 2.0 / 5);
  EXPECT_EQ(SendData(2048), 0);
}

TEST_F(YmodemSenderTest, ABlockThatIsNeverTakenIsSentOnAndOn) {
  script_.Progress(false, 0.0);
  for (int i = 0; i < 4; ++i) {
    script_.Write(BlockOfOnes(0x01, 0xFE)).AnswerByte(kNak).Print("NACK SendDataPacket 1\n");
  }
  for (int i = 0; i < 1000; ++i) {
    script_.Write(BlockOfOnes(0x01, 0xFE)).AnswerByte(kNak).Print("NACK SendDataPacket 1\n");
    script_.FlushOutput().Progress(false, 1.0 / 4);
  }
  script_.Write(BlockOfOnes(0x01, 0xFE)).AnswerByte(kCan).Print("CAN SendDataPacket 1\n");
  script_.Progress(true, 1.0 / 4);
  EXPECT_EQ(SendData(1024), 0);
}

TEST_F(YmodemSenderTest, EveryUnknownAnswerToABlockEndsTheTransfer) {
  for (const std::uint8_t value : AllBytesBut({kAck, kNak, kCan, 'C'})) {
    script_.Progress(false, 0.0).Write(BlockOfOnes(0x01, 0xFE));
    script_.AnswerByte(value).Print("UNKNOWN SendDataPacket 1\n");
    script_.Progress(true, 1.0 / 3);
    EXPECT_EQ(SendData(1), 0) << unsigned{value};
  }
}

// The end.

TEST_F(YmodemSenderTest, EndOfFileIsRepeatedForEachNak) {
  script_.Progress(false, 0.0);
  script_.Times(50, [](Script& steps) { steps.Write({0x04}).AnswerByte(kNak); });
  ImageEnds();
  EXPECT_EQ(SendData(0), 1);
}

TEST_F(YmodemSenderTest, EveryOtherAnswerToEndOfFileEndsTheTransfer) {
  for (const std::uint8_t value : AllBytesBut({kAck, kNak})) {
    script_.Progress(false, 0.0).Write({0x04}).AnswerByte(value);
    script_.Progress(true, 1.0);
    EXPECT_EQ(SendData(0), 0) << unsigned{value};
  }
}

TEST_F(YmodemSenderTest, WithoutARequestTheClosingPacketIsLeftOut) {
  for (const std::uint8_t value : AllBytesBut({'C'})) {
    script_.Progress(false, 0.0);
    EndOfFileIsAcknowledged();
    script_.AnswerByte(value);
    TransferIsComplete();
    EXPECT_EQ(SendData(0), 1) << unsigned{value};
  }
}

TEST_F(YmodemSenderTest, TheClosingPacketIsRepeatedUntilItIsAcknowledged) {
  script_.Progress(false, 0.0);
  EndOfFileIsAcknowledged();
  script_.AnswerByte('C');
  for (const std::uint8_t value : AllBytesBut({kAck})) {
    script_.Write(kEmptyPacketZero).AnswerByte(value);
  }
  script_.Write(kEmptyPacketZero).AnswerByte(kAck);
  TransferIsComplete();
  EXPECT_EQ(SendData(0), 1);
}

// The callback.

TEST_F(YmodemSenderTest, WithoutACallbackNothingIsReported) {
  sender_.SetProgressCallback(nullptr);
  script_.Write(BlockOfOnes(0x01, 0xFE)).AnswerByte(kAck).Print(".").FlushOutput();
  script_.Write({0x04}).AnswerByte(0x00);
  EXPECT_EQ(SendData(1), 0);
}

}  // namespace
}  // namespace kvo::bootloadertms
