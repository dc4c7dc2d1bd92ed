#include "transfer/ImageFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <stdexcept>

#include "support/Files.h"
#include "support/RuntimeErrorOf.h"

namespace kvo::bootloadertms {
namespace {

using namespace std::string_literals;
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

TEST_F(ImageFileTest, TheNameIsThePathsPartAfterItsLastSeparator) {
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

TEST_F(ImageFileTest, AMissingFileOrOneWithoutAnEndCannotBeOpened) {
  for (const std::string& path : {"./no/such/fw_tv.bin"s, ""s, "/proc/self/status"s}) {
    EXPECT_EQ(ErrorOfReading(path), "Unable to open file : " + path);
  }
}

TEST_F(ImageFileTest, APipeCannotBeOpenedAndIsNotWaitedFor) {
  const std::string path = folder_.Path("fw_tv.bin");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(ErrorOfReading(path), "Unable to open file : " + path);
}

TEST_F(ImageFileTest, ADirectoryOrAFileThatHoldsMoreThanItsLengthCannotBeRead) {
  for (const std::string& path : {folder_.Path(""), "/proc"s, "/dev"s, "/dev/zero"s}) {
    EXPECT_EQ(ErrorOfReading(path), "Unable to read file : " + path);
  }
}

TEST_F(ImageFileTest, AFileThatHoldsLessThanItsLengthCannotBeRead) {
  const std::string path = "/sys/kernel/uevent_seqnum";  // says 4096 bytes and holds a line
  if (!std::filesystem::exists(path)) {
    GTEST_SKIP() << path << " is not there";
  }
  EXPECT_EQ(ErrorOfReading(path), "Unable to read file : " + path);
}

TEST_F(ImageFileTest, ALengthThat32BitsDoNotHoldCannotBeRead) {
  const std::string path = folder_.WriteFile("fw_tv.bin", "");
  std::filesystem::resize_file(path, 0x100000000);
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

}  // namespace
}  // namespace kvo::bootloadertms
