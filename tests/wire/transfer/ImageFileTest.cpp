#include "transfer/ImageFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "support/RuntimeErrorOf.h"
#include "support/TemporaryFolder.h"

namespace kvo::bootloadertms {
namespace {

using testing::TemporaryFolder;

class ImageFileTest : public ::testing::Test {
 protected:
  // The image's array as far as it may be sent.
  std::string Sendable(std::size_t size) const {
    return {reinterpret_cast<const char*>(image_.GetContent()), size};
  }

  std::string ErrorOfReading(const std::string& path) {
    return testing::RuntimeErrorOf([&] { image_.Read(path); });
  }

  // A file that takes no room on the disk, whatever its length.
  std::string SparseFile(const std::string& name, std::uintmax_t length) const {
    std::string path = folder_.WriteFile(name, "");
    std::filesystem::resize_file(path, length);
    return path;
  }

  TemporaryFolder folder_;
  ImageFile image_;
};

TEST_F(ImageFileTest, StartsWithoutAnImage) {
  EXPECT_EQ(image_.GetFileName(), "");
  EXPECT_EQ(image_.GetLength(), 0U);
  EXPECT_EQ(image_.GetContent(), nullptr);
}

TEST_F(ImageFileTest, ReadsTheFileWholeWithEveryByteValue) {
  std::string bytes;
  for (int i = 0; i < 2048; ++i) {
    bytes += static_cast<char>(i * 7);
  }
  image_.Read(folder_.WriteFile("fw_tv.bin", bytes));
  EXPECT_EQ(image_.GetFileName(), "fw_tv.bin");
  EXPECT_EQ(image_.GetLength(), 2048U);
  EXPECT_EQ(Sendable(2048), bytes);
}

TEST_F(ImageFileTest, TheLastBlockIsFilledWithErasedFlash) {
  for (const std::size_t length : {1U, 127U, 511U, 512U, 1023U, 1025U, 3000U}) {
    const std::string bytes(length, 'x');
    image_.Read(folder_.WriteFile("fw_tv.bin", bytes));
    const std::size_t blocks_size = length <= 1024 ? 1024 : length <= 2048 ? 2048 : 3072;
    EXPECT_EQ(Sendable(blocks_size), bytes + std::string(blocks_size - length, '\xFF')) << length;
  }
}

TEST_F(ImageFileTest, AnEmptyFileIsAnEmptyImage) {
  image_.Read(folder_.WriteFile("fw_tv.bin", ""));
  EXPECT_EQ(image_.GetLength(), 0U);
  EXPECT_NE(image_.GetContent(), nullptr);
}

TEST_F(ImageFileTest, TheNameIsThePathsPartBehindItsLastSeparator) {
  folder_.WriteFile("sub\\fw_tv.bin", "x");
  image_.Read(folder_.Path("sub\\fw_tv.bin"));
  EXPECT_EQ(image_.GetFileName(), "fw_tv.bin");

  folder_.WriteFile("dir/a\\b/fw_tw.bin", "x");
  image_.Read(folder_.Path("dir/a\\b/fw_tw.bin"));
  EXPECT_EQ(image_.GetFileName(), "fw_tw.bin");
}

TEST_F(ImageFileTest, ANameWithoutASeparatorIsTakenWhole) {
  const std::filesystem::path former = std::filesystem::current_path();
  folder_.WriteFile("fw_pu.bin", "x");
  std::filesystem::current_path(folder_.Path(""));
  image_.Read("fw_pu.bin");
  std::filesystem::current_path(former);
  EXPECT_EQ(image_.GetFileName(), "fw_pu.bin");
}

TEST_F(ImageFileTest, OtherCharactersAreNoSeparators) {
  image_.Read(folder_.WriteFile("fw~1:2|3_tv.bin", "x"));
  EXPECT_EQ(image_.GetFileName(), "fw~1:2|3_tv.bin");
}

TEST_F(ImageFileTest, APathThatEndsInASeparatorHasAnEmptyName) {
  image_.Read(folder_.WriteFile("fw_tv\\", "x"));
  EXPECT_EQ(image_.GetFileName(), "");
}

TEST_F(ImageFileTest, AMissingFileCannotBeOpened) {
  EXPECT_EQ(ErrorOfReading("./no/such/fw_tv.bin"), "Unable to open file : ./no/such/fw_tv.bin");
  EXPECT_EQ(ErrorOfReading(""), "Unable to open file : ");
}

TEST_F(ImageFileTest, AFileWithoutAnEndCannotBeOpened) {
  EXPECT_EQ(ErrorOfReading("/proc/self/status"), "Unable to open file : /proc/self/status");
}

TEST_F(ImageFileTest, ADirectoryCannotBeRead) {
  const std::string path = folder_.Path("");
  EXPECT_EQ(ErrorOfReading(path), "Unable to read file : " + path);
  EXPECT_EQ(ErrorOfReading("/proc"), "Unable to read file : /proc");
  EXPECT_EQ(ErrorOfReading("/dev"), "Unable to read file : /dev");
}

TEST_F(ImageFileTest, APipeCannotBeOpenedAndIsNotWaitedFor) {
  const std::string path = folder_.Path("fw_tv.bin");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(ErrorOfReading(path), "Unable to open file : " + path);
}

TEST_F(ImageFileTest, AFileThatHoldsMoreThanItsLengthCannotBeRead) {
  EXPECT_EQ(ErrorOfReading("/dev/zero"), "Unable to read file : /dev/zero");
}

TEST_F(ImageFileTest, AFileThatHoldsLessThanItsLengthCannotBeRead) {
  const std::string path = "/sys/kernel/uevent_seqnum";  // says 4096 bytes and holds a line
  if (!std::filesystem::exists(path)) {
    GTEST_SKIP() << path << " is not there";
  }
  EXPECT_EQ(ErrorOfReading(path), "Unable to read file : " + path);
}

TEST_F(ImageFileTest, ALengthThat32BitsDoNotHoldCannotBeRead) {
  const std::string path = SparseFile("fw_tv.bin", 0x100000000);
  EXPECT_EQ(ErrorOfReading(path), "Unable to read file : " + path);
}

TEST_F(ImageFileTest, AFailureLeavesTheFormerImage) {
  image_.Read(folder_.WriteFile("fw_tv.bin", "image"));
  EXPECT_THROW(image_.Read(folder_.Path("missing")), std::runtime_error);
  EXPECT_THROW(image_.Read("/dev/zero"), std::runtime_error);
  EXPECT_EQ(image_.GetFileName(), "fw_tv.bin");
  EXPECT_EQ(image_.GetLength(), 5U);
  EXPECT_EQ(Sendable(5), "image");
}

TEST_F(ImageFileTest, ASecondImageReplacesTheFirst) {
  image_.Read(folder_.WriteFile("fw_tv.bin", "a first image"));
  image_.Read(folder_.WriteFile("fw_tw.bin", "second"));
  EXPECT_EQ(image_.GetFileName(), "fw_tw.bin");
  EXPECT_EQ(image_.GetLength(), 6U);
  EXPECT_EQ(Sendable(7), "second\xFF");
}

#ifndef __SANITIZE_ADDRESS__
// Runs in a process of its own, whose largest resident size must stay below 80 MiB for an image of
// 64 MiB.
void ReadAndTellTheResidentSize(const std::string& path) {
  ImageFile image;
  image.Read(path);
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  std::cerr << (usage.ru_maxrss < 81920 ? "small" : "large") << std::endl;
  std::_Exit(0);
}

TEST_F(ImageFileTest, MemoryThatIsNeverSentIsNeverTouched) {
  const std::string path = SparseFile("fw_tv.bin", 0x4000000);
  EXPECT_EXIT(ReadAndTellTheResidentSize(path), ::testing::ExitedWithCode(0), "^small\n$");
}
#endif

bool HasFreeMemory(std::uint64_t bytes) {
  return static_cast<std::uint64_t>(::sysconf(_SC_AVPHYS_PAGES)) *
             static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) >
         bytes;
}

// Twice its length wraps in 32 bits; its last block must be there to be sent all the same.
TEST_F(ImageFileTest, AnImageOfMoreThan2GiBIsReadWhole) {
  if (!HasFreeMemory(0xC0000000)) {
    GTEST_SKIP() << "needs 3 GiB of free memory";
  }
  image_.Read(SparseFile("fw_tv.bin", 0x80000001));
  EXPECT_EQ(image_.GetLength(), 0x80000001U);
  const std::uint8_t* last_block = image_.GetContent() + 0x80000000;
  EXPECT_EQ(last_block[0], 0x00);
  EXPECT_TRUE(std::all_of(last_block + 1, last_block + 1024,
                          [](std::uint8_t byte) { return byte == 0xFF; }));
}

}  // namespace
}  // namespace kvo::bootloadertms
