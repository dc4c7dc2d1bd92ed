#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "simulator/DeviceLink.h"
#include "simulator/FlashFile.h"
#include "simulator/Trace.h"
#include "support/Files.h"
#include "support/RuntimeErrorOf.h"
#include "support/SimulatorBytes.h"

namespace kvo::boardsimulator {
namespace {

using bootloadertms::testing::ReadFile;
using bootloadertms::testing::RuntimeErrorOf;
using bootloadertms::testing::TemporaryFolder;

namespace fs = std::filesystem;

class FilesTest : public testing::Test {
 protected:
  // Nothing is there, or nothing but `name`.
  void ExpectNothingBut(const std::string& name = "") const {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder_.Path(""))) {
      EXPECT_EQ(entry.path().filename(), name);
    }
  }

  TemporaryFolder folder_;
  const std::string path_ = folder_.Path("file");
};

using DeviceLinkTest = FilesTest;
using FlashFileTest = FilesTest;
using TraceFileTest = FilesTest;

TEST_F(DeviceLinkTest, LeadsToTheDeviceAndIsRemoved) {
  {
    const DeviceLink link(path_, "/dev/pts/7");
    EXPECT_EQ(fs::read_symlink(path_), "/dev/pts/7");
  }
  ExpectNothingBut();
}

TEST_F(DeviceLinkTest, ReplacesAStaleLink) {
  fs::create_symlink("/dev/pts/does-not-exist", path_);
  const DeviceLink link(path_, "/dev/pts/7");
  EXPECT_EQ(fs::read_symlink(path_), "/dev/pts/7");
}

TEST_F(DeviceLinkTest, LeavesARegularFileAlone) {
  folder_.WriteFile("file", "precious");
  EXPECT_EQ(
      RuntimeErrorOf([this] { const DeviceLink link(path_, "/dev/pts/7"); }),
      "cannot make the link " + path_ + ": something that is not a symbolic link stands there");
  EXPECT_EQ(ReadFile(path_), "precious");
}

TEST_F(DeviceLinkTest, LeavesAFileThatTookItsPlaceAlone) {
  {
    const DeviceLink link(path_, "/dev/pts/7");
    fs::remove(path_);
    folder_.WriteFile("file", "precious");
  }
  EXPECT_EQ(ReadFile(path_), "precious");
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
  const std::string path = folder_.Path("missing/link");
  EXPECT_EQ(RuntimeErrorOf([&] { const DeviceLink link(path, "/dev/pts/7"); }),
            "cannot make the link " + path + ": No such file or directory");
}

TEST_F(FlashFileTest, HoldsTheImage) {
  WriteFlashFile(path_, Pattern(3000));
  EXPECT_EQ(ReadFile(path_), ToText(Pattern(3000)));
  ExpectNothingBut("file");
}

TEST_F(FlashFileTest, ShorterImageReplacesALongerOne) {
  WriteFlashFile(path_, Pattern(3000));
  WriteFlashFile(path_, Pattern(5));
  EXPECT_EQ(ReadFile(path_), ToText(Pattern(5)));
  WriteFlashFile(path_, {});
  EXPECT_TRUE(fs::is_empty(path_));
}

TEST_F(FlashFileTest, FolderMustExist) {
  const std::string path = folder_.Path("missing/image");
  EXPECT_EQ(RuntimeErrorOf([&] { WriteFlashFile(path, Pattern(5)); }),
            "cannot write the flash file " + path + ": No such file or directory");
}

TEST_F(FlashFileTest, WhatIsNoRegularFileIsLeftAlone) {
  const std::string complaint =
      "cannot write the flash file " + path_ + ": something that is no regular file stands there";
  fs::create_directory(path_);
  EXPECT_EQ(RuntimeErrorOf([this] { WriteFlashFile(path_, Pattern(5)); }), complaint);
  fs::remove(path_);
  fs::create_symlink("/dev/null", path_);
  EXPECT_EQ(RuntimeErrorOf([this] { WriteFlashFile(path_, Pattern(5)); }), complaint);
  EXPECT_TRUE(fs::is_symlink(path_));
  ExpectNothingBut("file");
}

TEST_F(FlashFileTest, FailureLeavesNothingBehind) {
  fs::create_directory(path_ + ".part");
  EXPECT_THAT(RuntimeErrorOf([this] { WriteFlashFile(path_, Pattern(5)); }),
              testing::StartsWith("cannot write the flash file " + path_ + ": "));
  ExpectNothingBut();
}

TEST_F(TraceFileTest, IsMadeAnewAndHoldsItsRowsAtOnce) {
  folder_.WriteFile("file", "old");
  const auto trace = TraceIntoFile(path_);
  trace->Event("application runs", Clock::now());
  EXPECT_THAT(ReadFile(path_), testing::MatchesRegex(" +[0-9]+\\.[0-9]+ # application runs\n"));
}

TEST_F(TraceFileTest, FolderMustExist) {
  const std::string path = folder_.Path("missing/trace");
  EXPECT_EQ(RuntimeErrorOf([&] { TraceIntoFile(path); }),
            "cannot write the trace " + path + ": No such file or directory");
}

}  // namespace
}  // namespace kvo::boardsimulator
