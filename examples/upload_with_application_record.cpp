// Uploads an image of any file name, and tells the board by an application record of three texts
// what the image is.
//
//   upload_with_application_record DEVICE BAUD-RATE IMAGE TEXT1 TEXT2 TEXT3
//   upload_with_application_record /dev/ttyUSB0 1000000 build.bin TRK5 TRK5-APPLICATION 2.1
//
// What the texts must be is the board's matter: it refuses an image whose record it doesn't know.
// Together they have 104 characters at most.
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>

#include "client/AppInfos.h"
#include "client/BootLoader.h"

namespace {

using kvo::bootloadertms::AppInfos;
using kvo::bootloadertms::BootLoader;

void Upload(const std::string& device, std::uint32_t baud_rate, const std::string& image,
            const AppInfos& record) {
  BootLoader board(device, baud_rate);
  board.ActivateBootloader();
  board.UploadImageWithInfos(image, record);
  board.ActivateApplication();
}

std::uint32_t ParseBaudRate(const std::string& text) {
  std::uint32_t rate = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, rate);
  if (error != std::errc() || stop != end) {
    throw std::runtime_error("Not a baud rate: " + text);
  }
  return rate;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 7) {
    std::cerr << "Usage: upload_with_application_record DEVICE BAUD-RATE IMAGE TEXT1 TEXT2 TEXT3\n";
    return EXIT_FAILURE;
  }
  try {
    Upload(argv[1], ParseBaudRate(argv[2]), argv[3], AppInfos(argv[4], argv[5], argv[6]));
  } catch (const std::exception& error) {
    std::cerr << "upload_with_application_record: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
