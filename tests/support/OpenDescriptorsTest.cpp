#include "support/OpenDescriptors.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/TemporaryFolder.h"

namespace kvo::bootloadertms::testing {
namespace {

TEST(OpenDescriptorsTest, AreThoseOfTheFileUntilTheyAreClosed) {
  const TemporaryFolder folder;
  const std::string path = folder.WriteFile("file", "");
  EXPECT_EQ(OpenDescriptorsOf(path), std::vector<int>{});
  const int descriptor = ::open(path.c_str(), O_RDONLY);
  EXPECT_EQ(OpenDescriptorsOf(path), std::vector<int>{descriptor});
  ::close(descriptor);
  EXPECT_EQ(OpenDescriptorsOf(path), std::vector<int>{});
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
