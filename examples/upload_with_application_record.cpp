// Uploads an image of any file name, and tells the board by an application record of three texts
// what the image is.
//
//   upload_with_application_record DEVICE BAUD-RATE IMAGE TEXT1 TEXT2 TEXT3
//   upload_with_application_record /dev/ttyUSB0 1000000 build.bin TRK5 TRK5-APPLICATION 2.1
//
// What the texts must be is the board's matter: it refuses an image whose record it doesn't know.
// Together they have 104 characters at most.
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include <kvo/bootloadertms/AppInfos.h>
#include <kvo/bootloadertms/BootLoader.h>

namespace {

using kvo::bootloadertms::AppInfos;
using kvo::bootloadertms::BootLoader;

// The library refuses a rate that it doesn't know, so what is no number may count as 0 here.
void Upload(const std::string& device, const char* baud_rate, const std::string& image,
            const AppInfos& record) {
  BootLoader board(device, static_cast<std::uint32_t>(std::strtoul(baud_rate, nullptr, 10)));
  board.ActivateBootloader();
  board.UploadImageWithInfos(image, record);
  board.ActivateApplication();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 7) {
    std::cerr << "Usage: upload_with_application_record DEVICE BAUD-RATE IMAGE TEXT1 TEXT2 TEXT3\n";
    return EXIT_FAILURE;
  }
  try {
    Upload(argv[1], argv[2], argv[3], AppInfos(argv[4], argv[5], argv[6]));
  } catch (const std::exception& error) {
    std::cerr << "upload_with_application_record: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
