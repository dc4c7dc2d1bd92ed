#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace kvo::bootloadertms::testing {
namespace {

TEST(TemporaryFolderTest, HoldsFilesUntilItsEnd) {
  std::string path;
  {
    const TemporaryFolder folder;
    path = folder.WriteFile("sub/file", std::string("a\0b", 3));
    EXPECT_EQ(ReadFile(path), std::string("a\0b", 3));
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(TemporaryFolderTest, AMissingFileReadsAsEmpty) {
  EXPECT_EQ(ReadFile(TemporaryFolder().Path("none")), "");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
