#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <system_error>

#include "support/ClientFixture.h"
#include "support/TemporaryFolder.h"

namespace kvo::bootloadertms {
namespace {

using testing::RuntimeErrorOf;
using namespace std::chrono_literals;
using testing::Bytes;
using testing::TemporaryFolder;

constexpr std::uint8_t kAck = 0x06;

const std::string kPacketZeroShown =
    "PACKET 0 :\n0................TRK4_R1.........................TRK4-R1-APPLICATION"
    ".............VER 1.0........................................";

Bytes Packet(const std::string& data, const std::string& crc) {
  const std::string packet = std::string("\x01\x00\xFF", 3) + data + crc;
  return {packet.begin(), packet.end()};
}

Bytes PacketZeroOfABoard() {
  return Packet("0" + std::string(16, '\0') + "TRK4_R1" + std::string(25, '\0') +
                    "TRK4-R1-APPLICATION" + std::string(13, '\0') + "VER 1.0" +
                    std::string(40, '\0'),
                "\xBB\xF9");
}

// Uploads of an empty image, which is a whole conversation without blocks.
class BootLoaderUploadTest : public testing::ClientFixture {
 protected:
  void BootloaderIsTold() { script_.Write({0x31}).Sleep(20ms); }

  void BoardIsIdentified() {
    script_.AnswerByte('C').Print(" CRC recu du receiver \n" + kPacketZeroShown);
    script_.Write(PacketZeroOfABoard()).Print(" packet 0 EST envoye \n");
  }
  // `length` is that of the image, `crc` that of packet 0.
  void RecordIsAccepted(const std::string& length, const std::string& crc) {
    script_.AnswerByte('C').Print(" CRC recu du receiver \nPACKET 0 :\n" + length +
                                  "................A|B|C|" + std::string(105, '.'));
    script_.Write(Packet(length + std::string(16, '\0') + "A|B|C|" + std::string(105, '\0'), crc));
    script_.Print(" packet 0 EST envoye \n");
    PacketZeroIsAccepted();
  }
  void PacketZeroIsAccepted() {
    script_.AnswerByte(kAck).Print(" Ymodem_Transmit : ACK apres packet 0\n");
    script_.AnswerByte('C').Print(" Ymodem_Transmit : CRC apres ACK\n");
  }
  void ImageIsComplete() {
    script_.Write({0x04}).AnswerByte(kAck).AnswerByte(0x00);
    script_.Print(
        "\nSendDataPacket n\xC2\xB0"
        "0 : EOT packet send \n");
  }
  void EmptyImageIsTransferred() {
    BootloaderIsTold();
    BoardIsIdentified();
    PacketZeroIsAccepted();
    ImageIsComplete();
  }

  std::string ErrorOfUpload(const std::string& path) {
    return RuntimeErrorOf([this, &path] { client_.UploadImage(path); });
  }
  std::string ErrorOfUploadWithInfos(const std::string& path, const AppInfos& infos) {
    return RuntimeErrorOf([this, &path, &infos] { client_.UploadImageWithInfos(path, infos); });
  }

  TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", "");
};

TEST_F(BootLoaderUploadTest, AnImageThatTheBootloaderConfirmsIsUploaded) {
  EmptyImageIsTransferred();
  script_.AnswerByte('O');
  client_.UploadImage(image_);
}

TEST_F(BootLoaderUploadTest, VerboseTellsWhatIsUploadedAndThatItSucceeded) {
  MakeVerbose();
  script_.Print(
      "Calling bootloader with args : tty -> /dev/ttyScript ; baud rate -> 115200 ; "
      "file_name ->" +
      image_ + " file size -> 0\n");
  script_.FlushOutput().Print("Activating YModem transfer : ").FlushOutput();
  EmptyImageIsTransferred();
  script_.AnswerByte('O').Print("YModem transfer succeeded").FlushOutput();
  client_.UploadImage(image_);
}

TEST_F(BootLoaderUploadTest, VerboseTellsTheImagesSizeForEitherUpload) {
  MakeVerbose();
  const std::string path = folder_.WriteFile("big_tv.bin", std::string(1025, 'x'));
  const auto upload_refused_at_once = [this, &path] {
    script_.Print(
        "Calling bootloader with args : tty -> /dev/ttyScript ; baud rate -> 115200 ; "
        "file_name ->" +
        path + " file size -> 1025\n");
    script_.FlushOutput().Print("Activating YModem transfer : ").FlushOutput();
    BootloaderIsTold();
    script_.AnswerByte('F').Print(" Command failed received \n");
  };
  upload_refused_at_once();
  EXPECT_EQ(ErrorOfUpload(path), "!!! YModem transmit failed. Exiting");
  upload_refused_at_once();
  EXPECT_EQ(ErrorOfUploadWithInfos(path, AppInfos("A", "B", "C")),
            "!!! YModem transmit failed. Exiting");
}

TEST_F(BootLoaderUploadTest, VerboseTellsNothingOfSuccessBeforeTheVerdict) {
  MakeVerbose();
  script_.Print(
      "Calling bootloader with args : tty -> /dev/ttyScript ; baud rate -> 115200 ; file_name ->" +
      image_ + " file size -> 0\n");
  script_.FlushOutput().Print("Activating YModem transfer : ").FlushOutput();
  EmptyImageIsTransferred();
  script_.AnswerByte('o');
  EXPECT_EQ(ErrorOfUpload(image_), "!!! YModem transfer on boot loader failed. Exiting");
}

TEST_F(BootLoaderUploadTest, VerboseTellsNothingOfAnImageThatIsRefused) {
  MakeVerbose();
  EXPECT_EQ(ErrorOfUpload(folder_.WriteFile("image_d.bin", "x")),
            "No definition associate with file name. ie : image_d.bin for QDL-R2 board");
}

TEST_F(BootLoaderUploadTest, TheImagesOwnBytesGoOut) {
  BootloaderIsTold();
  RecordIsAccepted("5", "\x30\x87");
  const std::string block = "\x02\x01\xFEimage" + std::string(1019, '\xFF') + "\x64\x12";
  script_.Write({block.begin(), block.end()}).AnswerByte(kAck).Print(".").FlushOutput();
  ImageIsComplete();
  script_.AnswerByte('O');
  client_.UploadImageWithInfos(folder_.WriteFile("any.bin", "image"), AppInfos("A", "B", "C"));
}

TEST_F(BootLoaderUploadTest, AFileWhoseNameEndsInASeparatorHasNoName) {
  const std::string path = folder_.WriteFile("odd\\", "");
  EXPECT_EQ(ErrorOfUpload(path),
            "No definition associate with file name. ie : image_d.bin for QDL-R2 board");

  BootloaderIsTold();
  script_.AnswerByte('C').Print(" CRC recu du receiver \nPACKET 0 :\n" + std::string(128, '.'));
  script_.Write(Packet(std::string(128, '\0'), std::string(2, '\0')));
  script_.Print(" packet 0 EST envoye \n").AnswerByte(0x15);
  script_.Print(" ni ACK ni CRC ni NACK -- exit\n").Write({0x18, 0x18});
  EXPECT_EQ(ErrorOfUploadWithInfos(path, AppInfos("A", "B", "C")),
            "!!! YModem transmit failed. Exiting");
}

TEST_F(BootLoaderUploadTest, AnyOtherVerdictIsAnErrorAndLeavesTheClientUsable) {
  for (unsigned value = 0; value < 256; ++value) {
    if (value == 'O') {
      continue;
    }
    EmptyImageIsTransferred();
    script_.AnswerByte(static_cast<std::uint8_t>(value));
    EXPECT_EQ(ErrorOfUpload(image_), "!!! YModem transfer on boot loader failed. Exiting") << value;
  }
  ExpectUsable();
}

TEST_F(BootLoaderUploadTest, ATransferThatFailsIsAnErrorAndLeavesTheClientUsable) {
  BootloaderIsTold();
  script_.AnswerByte('F').Print(" Command failed received \n");
  EXPECT_EQ(ErrorOfUpload(image_), "!!! YModem transmit failed. Exiting");
  ExpectUsable();
}

TEST_F(BootLoaderUploadTest, AFileThatCannotBeOpenedSendsNothing) {
  EXPECT_EQ(ErrorOfUpload("./missing_tv.bin"), "Unable to open file : ./missing_tv.bin");
  ExpectUsable();
}

TEST_F(BootLoaderUploadTest, AFileThatCannotBeReadSendsNothing) {
  EXPECT_EQ(ErrorOfUpload("/proc"), "Unable to read file : /proc");
  ExpectUsable();
}

TEST_F(BootLoaderUploadTest, ANameWithoutABoardSendsNothing) {
  EXPECT_EQ(ErrorOfUpload(folder_.WriteFile("image_d.bin", "x")),
            "No definition associate with file name. ie : image_d.bin for QDL-R2 board");
  ExpectUsable();
}

TEST_F(BootLoaderUploadTest, OnlyTheBaseNameTellsTheBoard) {
  EXPECT_EQ(ErrorOfUpload(folder_.WriteFile("fw_tv/plain.bin", "x")),
            "No definition associate with file name. ie : image_d.bin for QDL-R2 board");
}

TEST_F(BootLoaderUploadTest, TheCallbackIsToldOfEachUpload) {
  client_.SetTransferCallback(script_.ProgressCallback());
  for (int i = 0; i < 2; ++i) {
    BootloaderIsTold();
    BoardIsIdentified();
    PacketZeroIsAccepted();
    script_.Progress(false, 0.0).Write({0x04}).AnswerByte(0x00).Progress(true, 1.0);
    EXPECT_EQ(ErrorOfUpload(image_), "!!! YModem transmit failed. Exiting");

    BootloaderIsTold();
    RecordIsAccepted("0", "\xC8\x04");
    script_.Progress(false, 0.0).Write({0x04}).AnswerByte(0x00).Progress(true, 1.0);
    EXPECT_EQ(ErrorOfUploadWithInfos(image_, AppInfos("A", "B", "C")),
              "!!! YModem transmit failed. Exiting");
  }
}

TEST_F(BootLoaderUploadTest, ARecordUploadsAFileOfAnyName) {
  BootloaderIsTold();
  RecordIsAccepted("0", "\xC8\x04");
  ImageIsComplete();
  script_.AnswerByte('O');
  client_.UploadImageWithInfos(folder_.WriteFile("any_name.bin", ""), AppInfos("A", "B", "C"));
}

TEST_F(BootLoaderUploadTest, ARecordUploadNeedsTheVerdictToo) {
  BootloaderIsTold();
  RecordIsAccepted("0", "\xC8\x04");
  ImageIsComplete();
  script_.AnswerByte('o');
  EXPECT_EQ(ErrorOfUploadWithInfos(image_, AppInfos("A", "B", "C")),
            "!!! YModem transfer on boot loader failed. Exiting");
  ExpectUsable();
}

TEST_F(BootLoaderUploadTest, ARecordThatIsTooLongIsAnErrorAndLeavesTheClientUsable) {
  BootloaderIsTold();
  script_.AnswerByte('C').Print(" CRC recu du receiver \n");
  EXPECT_EQ(ErrorOfUploadWithInfos(image_, AppInfos(std::string(105, 'a'), "", "")),
            "Exceed size limit detected. Exiting");
  ExpectUsable();
}

TEST_F(BootLoaderUploadTest, ARecordUploadHasTheSameErrors) {
  const AppInfos infos("A", "B", "C");
  EXPECT_EQ(ErrorOfUploadWithInfos("./missing", infos), "Unable to open file : ./missing");
  EXPECT_EQ(ErrorOfUploadWithInfos("/proc", infos), "Unable to read file : /proc");
  BootloaderIsTold();
  script_.AnswerByte('F').Print(" Command failed received \n");
  EXPECT_EQ(ErrorOfUploadWithInfos(image_, infos), "!!! YModem transmit failed. Exiting");
  ExpectUsable();
}

TEST_F(BootLoaderUploadTest, FailuresOfThePortPassThroughAndLeaveTheClientUsable) {
  script_.WriteFails();
  ExpectThePortsError([this] { client_.UploadImage(image_); });
  BootloaderIsTold();
  script_.AnswerByte('C').Print(" CRC recu du receiver \n" + kPacketZeroShown);
  script_.WriteFails();
  ExpectThePortsError([this] { client_.UploadImage(image_); });
  EmptyImageIsTransferred();
  script_.AnswerByteFails();
  ExpectThePortsError([this] { client_.UploadImage(image_); });
  ExpectUsable();
}

}  // namespace
}  // namespace kvo::bootloadertms
