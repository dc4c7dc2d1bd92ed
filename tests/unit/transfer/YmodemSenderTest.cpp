#include "transfer/YmodemSender.h"

#include <gtest/gtest.h>

#include <string>
#include <system_error>

#include "support/Script.h"
#include "support/ScriptedSerialPort.h"

namespace kvo::bootloadertms {
namespace {

using namespace std::string_literals;
using testing::Bytes;
using testing::Script;
using testing::ScriptedSerialPort;

constexpr std::uint8_t kAck = 0x06;
constexpr std::uint8_t kNak = 0x15;
constexpr std::uint8_t kCan = 0x18;

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

Bytes BlockOfOnes(std::uint8_t number, std::uint8_t complement) {
  return Bytes{0x02, number, complement} + Bytes(1024, 0x01) + Bytes{0x41, 0x48};
}

const Bytes kEmptyPacketZero = Bytes{0x01, 0x00, 0xFF} + Bytes(130, 0x00);

// What a transfer to a "tv" board consists of; the tests put these steps in their order.
class YmodemSenderTest : public ::testing::Test {
 protected:
  YmodemSenderTest() { sender_.SetProgressCallback(script_.ProgressCallback()); }

  int Transmit(std::uint32_t length) {
    return sender_.Ymodem_Transmit(port_, image_.data(), "fw_tv.bin", length,
                                   BoardDefinition("fw_tv.bin"s));
  }
  int SendData(std::uint32_t length) {
    return sender_.SendDataPacket(port_, image_.data(), length);
  }

  void ReceiverAsksForPacketZero() { script_.AnswerByte('C').Print(" CRC recu du receiver \n"); }

  // Of an empty image.
  void PacketZeroGoesOut() {
    const Bytes data =
        BytesOf("0" + std::string(16, '\0') + "TRK4_R1" + std::string(25, '\0') +
                "TRK4-R1-APPLICATION" + std::string(13, '\0') + "VER 1.0" + std::string(40, '\0'));
    script_.Print(
        "PACKET 0 :\n0................TRK4_R1.........................TRK4-R1-APPLICATION"
        ".............VER 1.0........................................");
    script_.Write(Bytes{0x01, 0x00, 0xFF} + data + Bytes{0xBB, 0xF9});
    script_.Print(" packet 0 EST envoye \n");
  }
  void PacketZeroIsAcknowledged() {
    script_.AnswerByte(kAck).Print(" Ymodem_Transmit : ACK apres packet 0\n");
  }
  void PacketZeroIsAccepted() {
    PacketZeroIsAcknowledged();
    script_.AnswerByte('C').Print(" Ymodem_Transmit : CRC apres ACK\n");
  }
  void PacketZeroIsAskedForAgain() {
    script_.AnswerByte('C').Print(" Ymodem_Transmit : PREMIER CRC apres envoie Packet 0\n");
  }
  void SenderGivesUp() { script_.Print(" ni ACK ni CRC ni NACK -- exit\n").Write({kCan, kCan}); }
  void BlockIsAcknowledged(double fraction) {
    script_.AnswerByte(kAck).Print(".").FlushOutput().Progress(false, fraction);
  }
  void EndOfFileIsAcknowledged() { script_.Write({0x04}).AnswerByte(kAck); }
  void BatchIsClosed() { script_.AnswerByte('C').Write(kEmptyPacketZero).AnswerByte(kAck); }
  void TransferIsComplete() {
    script_
        .Print(
            "\nSendDataPacket n\xC2\xB0"
            "0 : EOT packet send \n")
        .Progress(false, 1.0);
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
  EndOfFileIsAcknowledged();
  BatchIsClosed();
  TransferIsComplete();
  EXPECT_EQ(Transmit(0), 0);
}

TEST_F(YmodemSenderTest, AnythingButAStartIsIgnoredWhileWaiting) {
  for (unsigned value = 0; value < 256; ++value) {
    if (value != 'C' && value != 'F') {
      script_.AnswerByte(static_cast<std::uint8_t>(value));
    }
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

TEST_F(YmodemSenderTest, NakAsFirstAnswerToPacketZeroGivesUp) {
  ReceiverAsksForPacketZero();
  PacketZeroGoesOut();
  script_.AnswerByte(kNak);
  SenderGivesUp();
  EXPECT_EQ(Transmit(0), 1);
}

TEST_F(YmodemSenderTest, EveryUnknownAnswerToPacketZeroGivesUp) {
  for (unsigned value = 0; value < 256; ++value) {
    if (value == kAck || value == 'C') {
      continue;
    }
    ReceiverAsksForPacketZero();
    PacketZeroGoesOut();
    script_.AnswerByte(static_cast<std::uint8_t>(value));
    SenderGivesUp();
    EXPECT_EQ(Transmit(0), 1) << value;
  }
}

TEST_F(YmodemSenderTest, PacketZeroGoesOutAgainForAFirstRequest) {
  ReceiverAsksForPacketZero();
  PacketZeroGoesOut();
  PacketZeroIsAskedForAgain();
  PacketZeroGoesOut();
  PacketZeroIsAccepted();
  script_.Progress(false, 0.0);
  EndOfFileIsAcknowledged();
  BatchIsClosed();
  TransferIsComplete();
  EXPECT_EQ(Transmit(0), 0);
}

TEST_F(YmodemSenderTest, ASecondRequestGivesUp) {
  ReceiverAsksForPacketZero();
  PacketZeroGoesOut();
  PacketZeroIsAskedForAgain();
  PacketZeroGoesOut();
  script_.AnswerByte('C');
  SenderGivesUp();
  EXPECT_EQ(Transmit(0), 1);
}

TEST_F(YmodemSenderTest, EveryUnknownAnswerAfterTheFirstRequestGivesUp) {
  for (unsigned value = 0; value < 256; ++value) {
    if (value == kAck || value == kNak) {
      continue;
    }
    ReceiverAsksForPacketZero();
    PacketZeroGoesOut();
    PacketZeroIsAskedForAgain();
    PacketZeroGoesOut();
    script_.AnswerByte(static_cast<std::uint8_t>(value));
    SenderGivesUp();
    EXPECT_EQ(Transmit(0), 1) << value;
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
  for (unsigned value = 0; value < 256; ++value) {
    if (value != 'C') {
      PacketZeroGoesOut();
      PacketZeroIsAcknowledged();
      script_.AnswerByte(static_cast<std::uint8_t>(value));
    }
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
  script_.AnswerByte('C').Print(" CRC recu du receiver \nPACKET 0 :\n" + std::string(128, '.'));
  script_.Write(kEmptyPacketZero).Print(" packet 0 EST envoye \n").AnswerByte(kNak);
  SenderGivesUp();
  EXPECT_EQ(sender_.Ymodem_Transmit(port_, image_.data(), "", 5, BoardDefinition("fw_tv.bin"s)), 1);

  script_.AnswerByte('C').Print(" CRC recu du receiver \nPACKET 0 :\n" + std::string(128, '.'));
  script_.Write(kEmptyPacketZero).Print(" packet 0 EST envoye \n").AnswerByte(kNak);
  SenderGivesUp();
  EXPECT_EQ(sender_.Ymodem_Transmit(port_, image_.data(), "", 5, AppInfos("a", "b", "c")), 1);
}

TEST_F(YmodemSenderTest, ARecordIsSentAsItsText) {
  ReceiverAsksForPacketZero();
  script_.Print("PACKET 0 :\n3................A|B|C|" + std::string(105, '.'));
  script_.Write(Bytes{0x01, 0x00, 0xFF} +
                BytesOf("3" + std::string(16, '\0') + "A|B|C|" + std::string(105, '\0')) +
                Bytes{0x6F, 0x9A});
  script_.Print(" packet 0 EST envoye \n").AnswerByte(kNak);
  SenderGivesUp();
  EXPECT_EQ(sender_.Ymodem_Transmit(port_, image_.data(), "any.bin", 3, AppInfos("A", "B", "C")),
            1);
}

TEST_F(YmodemSenderTest, ARecordThatIsTooLongIsAnErrorOnceTheReceiverHasAsked) {
  ReceiverAsksForPacketZero();
  try {
    sender_.Ymodem_Transmit(port_, image_.data(), "any.bin", 3,
                            AppInfos(std::string(200, 'a'), "", ""));
    FAIL() << "no error";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "Exceed size limit detected. Exiting");
  }
}

TEST_F(YmodemSenderTest, NonPrintingBytesOfPacketZeroAreShownAsTheyAre) {
  ReceiverAsksForPacketZero();
  script_.Print("PACKET 0 :\n0................\x01\n\xFF|||" + std::string(105, '.'));
  script_.WriteFails();
  EXPECT_THROW(
      sender_.Ymodem_Transmit(port_, image_.data(), "any.bin", 0, AppInfos("\x01\n\xFF", "", "")),
      std::system_error);
}

// The blocks.

TEST_F(YmodemSenderTest, OneBlockIsSentForUpTo1024Bytes) {
  for (const std::uint32_t length : {1U, 1023U, 1024U}) {
    script_.Progress(false, 0.0).Write(BlockOfOnes(0x01, 0xFE));
    BlockIsAcknowledged(length == 1024 ? 2.0 / 4 : 2.0 / 3);
    EndOfFileIsAcknowledged();
    BatchIsClosed();
    TransferIsComplete();
    EXPECT_EQ(SendData(length), 1) << length;
  }
}

TEST_F(YmodemSenderTest, TheLastBlockTakesWhatStandsBehindTheImage) {
  image_ = Bytes(1025, 0x01) + Bytes(1023, 0xFF);
  script_.Progress(false, 0.0).Write(BlockOfOnes(0x01, 0xFE));
  BlockIsAcknowledged(2.0 / 4);
  script_.Write(Bytes{0x02, 0x02, 0xFD, 0x01} + Bytes(1023, 0xFF) + Bytes{0xF7, 0x00});
  BlockIsAcknowledged(3.0 / 4);
  EndOfFileIsAcknowledged();
  BatchIsClosed();
  TransferIsComplete();
  EXPECT_EQ(SendData(1025), 1);
}

TEST_F(YmodemSenderTest, BlocksAreNumberedModulo256AndAlwaysLong) {
  script_.Progress(false, 0.0);
  for (unsigned number = 1; number <= 257; ++number) {
    const auto low = static_cast<std::uint8_t>(number);
    script_.Write(BlockOfOnes(low, static_cast<std::uint8_t>(255 - low)));
    BlockIsAcknowledged((number + 1) / 260.0);
  }
  EndOfFileIsAcknowledged();
  BatchIsClosed();
  TransferIsComplete();
  EXPECT_EQ(SendData(257 * 1024), 1);
}

TEST_F(YmodemSenderTest, Block256HasTheNumberByteZeroAndALongHeader) {
  script_.Progress(false, 0.0);
  for (unsigned number = 1; number <= 255; ++number) {
    const auto low = static_cast<std::uint8_t>(number);
    script_.Write(BlockOfOnes(low, static_cast<std::uint8_t>(255 - low)));
    BlockIsAcknowledged((number + 1) / 259.0);
  }
  script_.Write(Bytes{0x02, 0x00, 0xFF} + Bytes(1024, 0x01) + Bytes{0x41, 0x48});
  script_.AnswerByte(kCan).Print("CAN SendDataPacket 256\n").Progress(true, 256 / 259.0);
  EXPECT_EQ(SendData(256 * 1024), 0);
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
  EndOfFileIsAcknowledged();
  BatchIsClosed();
  TransferIsComplete();
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

TEST_F(YmodemSenderTest, CanEndsTheTransferAndNothingMoreIsSent) {
  script_.Progress(false, 0.0).Write(BlockOfOnes(0x01, 0xFE));
  script_.AnswerByte(kCan).Print("CAN SendDataPacket 1\n").Progress(true, 1.0 / 4);
  EXPECT_EQ(SendData(1024), 0);
}

TEST_F(YmodemSenderTest, EveryUnknownAnswerToABlockEndsTheTransfer) {
  for (unsigned value = 0; value < 256; ++value) {
    if (value == kAck || value == kNak || value == kCan || value == 'C') {
      continue;
    }
    script_.Progress(false, 0.0).Write(BlockOfOnes(0x01, 0xFE));
    script_.AnswerByte(static_cast<std::uint8_t>(value)).Print("UNKNOWN SendDataPacket 1\n");
    script_.Progress(true, 1.0 / 3);
    EXPECT_EQ(SendData(1), 0) << value;
  }
}

// The end.

TEST_F(YmodemSenderTest, EndOfFileIsRepeatedForEachNak) {
  script_.Progress(false, 0.0);
  script_.Times(50, [](Script& steps) { steps.Write({0x04}).AnswerByte(kNak); });
  EndOfFileIsAcknowledged();
  BatchIsClosed();
  TransferIsComplete();
  EXPECT_EQ(SendData(0), 1);
}

TEST_F(YmodemSenderTest, EveryOtherAnswerToEndOfFileEndsTheTransfer) {
  for (unsigned value = 0; value < 256; ++value) {
    if (value == kAck || value == kNak) {
      continue;
    }
    script_.Progress(false, 0.0).Write({0x04}).AnswerByte(static_cast<std::uint8_t>(value));
    script_.Progress(true, 1.0);
    EXPECT_EQ(SendData(0), 0) << value;
  }
}

TEST_F(YmodemSenderTest, WithoutARequestTheClosingPacketIsLeftOut) {
  for (unsigned value = 0; value < 256; ++value) {
    if (value == 'C') {
      continue;
    }
    script_.Progress(false, 0.0);
    EndOfFileIsAcknowledged();
    script_.AnswerByte(static_cast<std::uint8_t>(value));
    TransferIsComplete();
    EXPECT_EQ(SendData(0), 1) << value;
  }
}

TEST_F(YmodemSenderTest, TheClosingPacketIsRepeatedUntilItIsAcknowledged) {
  script_.Progress(false, 0.0);
  EndOfFileIsAcknowledged();
  script_.AnswerByte('C');
  for (unsigned value = 0; value < 256; ++value) {
    if (value != kAck) {
      script_.Write(kEmptyPacketZero).AnswerByte(static_cast<std::uint8_t>(value));
    }
  }
  script_.Write(kEmptyPacketZero).AnswerByte(kAck);
  TransferIsComplete();
  EXPECT_EQ(SendData(0), 1);
}

// Callback and failures.

TEST_F(YmodemSenderTest, WithoutACallbackNothingIsReported) {
  sender_.SetProgressCallback(nullptr);
  script_.Write(BlockOfOnes(0x01, 0xFE)).AnswerByte(kAck).Print(".").FlushOutput();
  script_.Write({0x04}).AnswerByte(0x00);
  EXPECT_EQ(SendData(1), 0);
}

TEST_F(YmodemSenderTest, FailuresOfThePortPassThrough) {
  ReceiverAsksForPacketZero();
  script_.Print(
      "PACKET 0 :\n0................TRK4_R1.........................TRK4-R1-APPLICATION"
      ".............VER 1.0........................................");
  script_.WriteFails();
  EXPECT_THROW(Transmit(0), std::system_error);

  script_.Progress(false, 0.0).Write({0x02, 0x01, 0xFE, 0x01}).WriteFails();
  EXPECT_THROW(SendData(1024), std::system_error);

  script_.Progress(false, 0.0).WriteFails();
  EXPECT_THROW(SendData(0), std::system_error);
}

}  // namespace
}  // namespace kvo::bootloadertms
