// Uploads an image to a board and shows on standard error how far it is: on a terminal by a bar,
// else by a line for each tenth of the way; both with the rate and the time that remains.
//
//   upload_with_progress DEVICE BAUD-RATE IMAGE
//   upload_with_progress /dev/ttyUSB0 1000000 fw_tv.bin
//
// The way: `SetTransferCallback` takes a function that the upload calls with a fraction from 0.0 to
// 1.0, once before the first block and again after each one. The fraction is not the share of the
// bytes that were sent; the comment of `TransferProgress` tells how to reckon that.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>

#include <kvo/bootloadertms/BootLoader.h>

namespace {

using kvo::bootloadertms::BootLoader;
using std::chrono::steady_clock;

// As in "2:05".
std::string MinutesAndSeconds(double seconds) {
  const auto whole_seconds = static_cast<std::int64_t>(std::ceil(seconds));
  std::ostringstream text;
  text << whole_seconds / 60 << ':' << std::setw(2) << std::setfill('0') << whole_seconds % 60;
  return text.str();
}

// As in "[#########---------------------]".
std::string Bar(double fraction) {
  constexpr std::size_t kWidth = 30;
  const auto filled = static_cast<std::size_t>(fraction * kWidth);
  return "[" + std::string(filled, '#') + std::string(kWidth - filled, '-') + "]";
}

class ProgressDisplay {
 public:
  ProgressDisplay(std::uintmax_t image_size, bool is_terminal)
      : image_size_(static_cast<double>(image_size)), is_terminal_(is_terminal) {}
  ProgressDisplay(const ProgressDisplay&) = delete;
  ProgressDisplay& operator=(const ProgressDisplay&) = delete;

  // Ends the bar's line, so that what comes next stands below it.
  ~ProgressDisplay() {
    if (is_terminal_ && HasBegun()) {
      std::cerr << '\n';
    }
  }

  // Shows what has changed: on a terminal each percent, else each ten.
  void Update(double fraction) {
    if (!HasBegun()) {
      start_ = steady_clock::now();
    }
    const int step = static_cast<int>(fraction * (is_terminal_ ? 100 : 10));
    if (step == last_step_) {
      return;
    }
    last_step_ = step;
    if (is_terminal_) {
      std::cerr << '\r' << Bar(fraction) << ' ' << Status(fraction);
    } else {
      std::cerr << Status(fraction) << '\n';
    }
  }

 private:
  static constexpr int kNoStep = -1;
  static constexpr double kBlockSize = 1024;

  bool HasBegun() const { return last_step_ != kNoStep; }

  // What the board has taken of the image.
  double BytesTaken(double fraction) const {
    const double steps = std::floor(image_size_ / kBlockSize) + 3;
    return std::min((fraction * steps - 1) * kBlockSize, image_size_);
  }

  // As in " 42 %    81.3 KiB/s   0:07 left"; of the same width each time, so that each covers the
  // one before. Nothing is reckoned from a single block.
  std::string Status(double fraction) const {
    std::ostringstream text;
    text << std::setw(3) << static_cast<int>(fraction * 100) << " %";
    const double taken = BytesTaken(fraction);
    if (taken > 1.5 * kBlockSize) {
      const std::chrono::duration<double> elapsed = steady_clock::now() - start_;
      const double rate = taken / elapsed.count();
      const double seconds_left = (image_size_ - taken) / rate;
      text << std::fixed << std::setprecision(1) << std::setw(8) << rate / 1024 << " KiB/s"
           << std::setw(7) << MinutesAndSeconds(seconds_left) << " left";
    }
    return text.str();
  }

  const double image_size_;
  const bool is_terminal_;
  steady_clock::time_point start_;
  int last_step_ = kNoStep;
};

// The library refuses a rate that it doesn't know, so what is no number may count as 0 here.
void Upload(const std::string& device, const char* baud_rate, const std::string& image) {
  ProgressDisplay display(std::filesystem::file_size(image), ::isatty(STDERR_FILENO) == 1);
  BootLoader board(device, static_cast<std::uint32_t>(std::strtoul(baud_rate, nullptr, 10)));
  // Whether it failed needs no look: an upload that fails also throws.
  board.SetTransferCallback(
      [&display](bool /*failed*/, double fraction) { display.Update(fraction); });
  board.ActivateBootloader();
  board.UploadImage(image);
  board.ActivateApplication();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "Usage: upload_with_progress DEVICE BAUD-RATE IMAGE\n";
    return EXIT_FAILURE;
  }
  // The upload's own trace goes to standard output, and would tear the bar apart on a terminal.
  std::cout.rdbuf(nullptr);
  try {
    Upload(argv[1], argv[2], argv[3]);
  } catch (const std::exception& error) {
    std::cerr << "upload_with_progress: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
