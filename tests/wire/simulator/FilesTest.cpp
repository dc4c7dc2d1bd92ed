#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "simulator/DeviceLink.h"
#include "simulator/FlashFile.h"
#include "simulator/Trace.h"
#include "unit/simulator/TemporaryFolder.h"

namespace kvo::boardsimulator {
namespace {

namespace fs = std::filesystem;

class FilesTest : public testing::Test {
 protected:
  TemporaryFolder folder_;
  const std::string path_ = folder_.PathOf("file");
};

using DeviceLinkTest = FilesTest;
using FlashFileTest = FilesTest;
using TraceFileTest = FilesTest;

// What went wrong when `act` was done.
template <typename Act>
std::string ComplaintOf(Act act) {
  try {
    act();
  } catch (const std::runtime_error& complaint) {
    return complaint.what();
  }
  return "none";
}

TEST_F(DeviceLinkTest, LeadsToTheDeviceAndIsRemoved) {
  {
    const DeviceLink link(path_, "/dev/pts/7");
    EXPECT_EQ(fs::read_symlink(path_), "/dev/pts/7");
  }
  EXPECT_EQ(folder_.CountFiles(), 0U);
}

TEST_F(DeviceLinkTest, ReplacesAStaleLink) {
  fs::create_symlink("/dev/pts/does-not-exist", path_);
  const DeviceLink link(path_, "/dev/pts/7");
  EXPECT_EQ(fs::read_symlink(path_), "/dev/pts/7");
}

TEST_F(DeviceLinkTest, LeavesARegularFileAlone) {
  WriteFile(path_, FromText("precious"));
  EXPECT_EQ(
      ComplaintOf([this] { const DeviceLink link(path_, "/dev/pts/7"); }),
      "cannot make the link " + path_ + ": something that is not a symbolic link stands there");
  EXPECT_EQ(ReadTextFile(path_), "precious");
}

TEST_F(DeviceLinkTest, LeavesAFileThatTookItsPlaceAlone) {
  {
    const DeviceLink link(path_, "/dev/pts/7");
    fs::remove(path_);
    WriteFile(path_, FromText("precious"));
  }
  EXPECT_EQ(ReadTextFile(path_), "precious");
}

TEST_F(DeviceLinkTest, LeavesTheLinkOfAnotherDeviceAlone) {
  {
    const DeviceLink link(path_, "/dev/pts/7");
    const DeviceLink newer(path_, "/dev/pts/8");
    EXPECT_EQ(fs::read_symlink(path_), "/dev/pts/8");
    fs::remove(path_);
    fs::create_symlink("/dev/pts/9", path_);
  }
  EXPECT_EQ(fs::read_symlink(path_), "/dev/pts/9");
}

TEST_F(DeviceLinkTest, FolderMustExist) {
  const std::string path = folder_.PathOf("missing/link");
  EXPECT_EQ(ComplaintOf([&] { const DeviceLink link(path, "/dev/pts/7"); }),
            "cannot make the link " + path + ": No such file or directory");
}

TEST_F(FlashFileTest, HoldsTheImage) {
  WriteFlashFile(path_, Pattern(3000));
  EXPECT_EQ(ReadFile(path_), Pattern(3000));
  EXPECT_EQ(folder_.CountFiles(), 1U);
}

TEST_F(FlashFileTest, ShorterImageReplacesALongerOne) {
  WriteFlashFile(path_, Pattern(3000));
  WriteFlashFile(path_, Pattern(5));
  EXPECT_EQ(ReadFile(path_), Pattern(5));
  WriteFlashFile(path_, {});
  EXPECT_TRUE(fs::is_empty(path_));
}

TEST_F(FlashFileTest, FolderMustExist) {
  const std::string path = folder_.PathOf("missing/image");
  EXPECT_EQ(ComplaintOf([&] { WriteFlashFile(path, Pattern(5)); }),
            "cannot write the flash file " + path + ": No such file or directory");
}

TEST_F(FlashFileTest, WhatIsNoRegularFileIsLeftAlone) {
  const std::string complaint =
      "cannot write the flash file " + path_ + ": something that is no regular file stands there";
  fs::create_directory(path_);
  EXPECT_EQ(ComplaintOf([this] { WriteFlashFile(path_, Pattern(5)); }), complaint);
  fs::remove(path_);
  fs::create_symlink("/dev/null", path_);
  EXPECT_EQ(ComplaintOf([this] { WriteFlashFile(path_, Pattern(5)); }), complaint);
  EXPECT_TRUE(fs::is_symlink(path_));
  EXPECT_EQ(folder_.CountFiles(), 1U);
}

TEST_F(FlashFileTest, FailureLeavesNothingBehind) {
  fs::create_directory(path_ + ".part");
  EXPECT_THAT(ComplaintOf([this] { WriteFlashFile(path_, Pattern(5)); }),
              testing::StartsWith("cannot write the flash file " + path_ + ": "));
  EXPECT_FALSE(fs::exists(path_));
}

TEST_F(TraceFileTest, IsMadeAnewAndHoldsItsRowsAtOnce) {
  WriteFile(path_, FromText("old"));
  const auto trace = TraceIntoFile(path_);
  trace->Event("application runs", Clock::now());
  EXPECT_THAT(ReadTextFile(path_), testing::MatchesRegex(" +[0-9]+\\.[0-9]+ # application runs\n"));
}

}  // namespace
}  // namespace kvo::boardsimulator
