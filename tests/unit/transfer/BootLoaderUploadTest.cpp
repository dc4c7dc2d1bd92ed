#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/ClientFixture.h"
#include "support/Files.h"
#include "unit/transfer/EmptyImage.h"

namespace kvo::bootloadertms {
namespace {

constexpr std::uint8_t kAccepted = 0x06;

using testing::RuntimeErrorOf;
using namespace std::chrono_literals;
using testing::Bytes;
using testing::TemporaryFolder;

constexpr const char* kNoBoard =
    "No definition associate with file name. ie : image_d.bin for QDL-R2 board";
constexpr const char* kTransmitFailed = "!!! YModem transmit failed. Exiting";
constexpr const char* kRefused = "!!! YModem transfer on boot loader failed. Exiting";

// Uploads of an empty image, which is a whole conversation without blocks.
class BootLoaderUploadTest : public testing::ClientFixture {
 protected:
  void UploadIsTold(const std::string& path, const std::string& size) {
    script_.Print(
        "Calling bootloader with args : tty -> /dev/ttyScript ; baud rate -> 115200 ; file_name "
        "->" +
        path + " file size -> " + size + "\n");
    script_.FlushOutput().Print("Activating YModem transfer : ").FlushOutput();
  }
  void BootloaderIsTold() { script_.Write({0x31}).Sleep(20ms); }

  void BoardIsIdentified() {
    script_.AnswerByte('C').Print(testing::kReceiverAsked + testing::kPacketZeroOfTvShown);
    script_.Write(testing::kPacketZeroOfTv).Print(testing::kPacketZeroSent);
  }
  // `length` is that of the image, `crc` that of packet 0.
  void RecordIsAccepted(const std::string& length, const Bytes& crc) {
    script_.AnswerByte('C').Print(testing::kReceiverAsked + "PACKET 0 :\n" + length +
                                  "................A|B|C|" + std::string(105, '.'));
    script_.Write(testing::PacketZero(
        length + std::string(16, '\0') + "A|B|C|" + std::string(105, '\0'), crc));
    script_.Print(testing::kPacketZeroSent);
    PacketZeroIsAccepted();
  }
  void PacketZeroIsAccepted() {
    script_.AnswerByte(kAccepted).Print(testing::kPacketZeroAcknowledged);
    script_.AnswerByte('C').Print(testing::kAskedAfterTheAcknowledge);
  }
  void ImageIsComplete() {
    script_.Write({0x04}).AnswerByte(kAccepted).AnswerByte(0x00);
    script_.Print(testing::kTransferComplete);
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
  UploadIsTold(image_, "0");
  EmptyImageIsTransferred();
  script_.AnswerByte('O').Print("YModem transfer succeeded").FlushOutput();
  client_.UploadImage(image_);
}

TEST_F(BootLoaderUploadTest, ATransferThatFailsIsAnErrorAfterTheImagesSizeIsTold) {
  MakeVerbose();
  const std::string path = folder_.WriteFile("big_tv.bin", std::string(1025, 'x'));
  const auto upload_refused_at_once = [this, &path] {
    UploadIsTold(path, "1025");
    BootloaderIsTold();
    script_.AnswerByte('F').Print(" Command failed received \n");
  };
  upload_refused_at_once();
  EXPECT_EQ(ErrorOfUpload(path), kTransmitFailed);
  upload_refused_at_once();
  EXPECT_EQ(ErrorOfUploadWithInfos(path, AppInfos("A", "B", "C")), kTransmitFailed);
}

TEST_F(BootLoaderUploadTest, VerboseTellsNothingOfSuccessBeforeTheVerdict) {
  MakeVerbose();
  UploadIsTold(image_, "0");
  EmptyImageIsTransferred();
  script_.AnswerByte('o');
  EXPECT_EQ(ErrorOfUpload(image_), kRefused);
}

TEST_F(BootLoaderUploadTest, ARecordUploadSendsAFileOfAnyName) {
  BootloaderIsTold();
  RecordIsAccepted("5", {0x30, 0x87});
  const std::string block = "\x02\x01\xFEimage" + std::string(1019, '\xFF') + "\x64\x12";
  script_.Write({block.begin(), block.end()}).AnswerByte(kAccepted).Print(".").FlushOutput();
  ImageIsComplete();
  script_.AnswerByte('O');
  client_.UploadImageWithInfos(folder_.WriteFile("any.bin", "image"), AppInfos("A", "B", "C"));
}

TEST_F(BootLoaderUploadTest, AFileWhoseNameEndsInASeparatorHasNoName) {
  const std::string path = folder_.WriteFile("odd\\", "");
  EXPECT_EQ(ErrorOfUpload(path), kNoBoard);

  BootloaderIsTold();
  script_.AnswerByte('C').Print(testing::kReceiverAsked + testing::kEmptyPacketZeroShown);
  script_.Write(testing::kEmptyPacketZero).Print(testing::kPacketZeroSent).AnswerByte(0x15);
  script_.Print(testing::kGivenUp).Write({0x18, 0x18});
  EXPECT_EQ(ErrorOfUploadWithInfos(path, AppInfos("A", "B", "C")), kTransmitFailed);
}

TEST_F(BootLoaderUploadTest, AnyOtherVerdictIsAnError) {
  for (unsigned value = 0; value < 256; ++value) {
    if (value == 'O') {
      continue;
    }
    EmptyImageIsTransferred();
    script_.AnswerByte(static_cast<std::uint8_t>(value));
    EXPECT_EQ(ErrorOfUpload(image_), kRefused) << value;
  }
}

TEST_F(BootLoaderUploadTest, OfAnImageThatIsRefusedNothingIsSentOrTold) {
  MakeVerbose();
  EXPECT_EQ(ErrorOfUpload("./missing_tv.bin"), "Unable to open file : ./missing_tv.bin");
  EXPECT_EQ(ErrorOfUpload("/proc"), "Unable to read file : /proc");
  EXPECT_EQ(ErrorOfUpload(folder_.WriteFile("image_d.bin", "x")), kNoBoard);
  EXPECT_EQ(ErrorOfUpload(folder_.WriteFile("fw_tv/plain.bin", "x")), kNoBoard);
  const AppInfos infos("A", "B", "C");
  EXPECT_EQ(ErrorOfUploadWithInfos("./missing", infos), "Unable to open file : ./missing");
  EXPECT_EQ(ErrorOfUploadWithInfos("/proc", infos), "Unable to read file : /proc");
}

TEST_F(BootLoaderUploadTest, TheCallbackIsToldOfEachUpload) {
  client_.SetTransferCallback(script_.ProgressCallback());
  for (int i = 0; i < 2; ++i) {
    BootloaderIsTold();
    BoardIsIdentified();
    PacketZeroIsAccepted();
    script_.Progress(false, 0.0).Write({0x04}).AnswerByte(0x00).Progress(true, 1.0);
    EXPECT_EQ(ErrorOfUpload(image_), kTransmitFailed);

    BootloaderIsTold();
    RecordIsAccepted("0", {0xC8, 0x04});
    script_.Progress(false, 0.0).Write({0x04}).AnswerByte(0x00).Progress(true, 1.0);
    EXPECT_EQ(ErrorOfUploadWithInfos(image_, AppInfos("A", "B", "C")), kTransmitFailed);
  }
}

TEST_F(BootLoaderUploadTest, ARecordUploadNeedsTheVerdictToo) {
  BootloaderIsTold();
  RecordIsAccepted("0", {0xC8, 0x04});
  ImageIsComplete();
  script_.AnswerByte('o');
  EXPECT_EQ(ErrorOfUploadWithInfos(image_, AppInfos("A", "B", "C")), kRefused);
}

TEST_F(BootLoaderUploadTest, ARecordThatIsTooLongIsAnError) {
  BootloaderIsTold();
  script_.AnswerByte('C').Print(testing::kReceiverAsked);
  EXPECT_EQ(ErrorOfUploadWithInfos(image_, AppInfos(std::string(105, 'a'), "", "")),
            "Exceed size limit detected. Exiting");
}

}  // namespace
}  // namespace kvo::bootloadertms
