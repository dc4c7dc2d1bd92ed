// The two uploads of `BootLoader`. They live here so that nothing in client/ includes transfer/.
#include <chrono>
#include <stdexcept>
#include <string>

#include "client/BootLoader.h"
#include "client/Pause.h"
#include "client/TargetProtocol.h"
#include "log/LogMess.h"
#include "serial/ISerialPort.h"
#include "transfer/BoardDefinition.h"
#include "transfer/ImageFile.h"
#include "transfer/YmodemSender.h"

namespace kvo::bootloadertms {

namespace {

constexpr std::chrono::milliseconds kReceiveCommandPause{20};

// Deliberate: no blank before the path.
void LogUpload(ISerialPort& port, const std::string& image_path, const ImageFile& image) {
  const LogMess& log = LogMess::GetInstance();
  log.LogInline("Calling bootloader with args : tty -> " + port.GetDevice() + " ; baud rate -> " +
                std::to_string(port.GetBaudRate()) + " ; file_name ->" + image_path +
                " file size -> " + std::to_string(image.GetLength()) + "\n");
  log.LogInline("Activating YModem transfer : ");
}

// `identification` is what packet 0 tells of the image: a `BoardDefinition` or an `AppInfos`.
template <typename Identification>
void Upload(ISerialPort& port, const TransferProgress& progress, const std::string& image_path,
            const ImageFile& image, const Identification& identification) {
  LogUpload(port, image_path, image);
  port.WriteByte(target::kReceiveImage);
  Pause(kReceiveCommandPause);

  YmodemSender sender;
  sender.SetProgressCallback(progress);
  if (sender.Ymodem_Transmit(port, image.GetContent(), image.GetFileName(), image.GetLength(),
                             identification) != 0) {
    throw std::runtime_error("!!! YModem transmit failed. Exiting");
  }
  if (port.ReadByte() != target::kImageAccepted) {
    throw std::runtime_error("!!! YModem transfer on boot loader failed. Exiting");
  }
  LogMess::GetInstance().LogInline("YModem transfer succeeded");
}

}  // namespace

void BootLoader::UploadImage(const std::string& image_path) {
  Locked([&] {
    ImageFile image;
    image.Read(image_path);
    const BoardDefinition board(image.GetFileName());
    Upload(*port_, transfer_callback_, image_path, image, board);
  });
}

void BootLoader::UploadImageWithInfos(const std::string& image_path, const AppInfos& infos) {
  Locked([&] {
    ImageFile image;
    image.Read(image_path);
    Upload(*port_, transfer_callback_, image_path, image, infos);
  });
}

}  // namespace kvo::bootloadertms
