#include <gtest/gtest.h>

#include "client/AppInfos.h"
#include "client/DeviceInfos.h"
#include "client/IBootLoader.h"
#include "support/VtableSlot.h"

namespace kvo::bootloadertms {
namespace {

using testing::VtableSlot;

// Programs built against the interface find its operations by their place.
TEST(IBootLoaderSlotOrderTest, EachOperationHasItsPlace) {
  EXPECT_EQ(VtableSlot(&IBootLoader::PingBootloader), 0U);
  EXPECT_EQ(VtableSlot(&IBootLoader::PingApplication), 1U);
  EXPECT_EQ(VtableSlot(&IBootLoader::Calibrate), 2U);
  EXPECT_EQ(VtableSlot(&IBootLoader::ActivateBootloader), 3U);
  EXPECT_EQ(VtableSlot(&IBootLoader::ActivateApplication), 4U);
  EXPECT_EQ(VtableSlot(&IBootLoader::SendBootloaderCommand), 5U);
  EXPECT_EQ(VtableSlot(&IBootLoader::SendApplicationCommand), 6U);
  EXPECT_EQ(VtableSlot(&IBootLoader::UploadImage), 7U);
  EXPECT_EQ(VtableSlot(&IBootLoader::UploadImageWithInfos), 8U);
  EXPECT_EQ(VtableSlot(&IBootLoader::SetVerbose), 9U);
  EXPECT_EQ(VtableSlot(&IBootLoader::SetTransferCallback), 10U);
  EXPECT_EQ(VtableSlot(&IBootLoader::ReadBootloaderInfos), 11U);
  EXPECT_EQ(VtableSlot(&IBootLoader::ReadApplicationInfos), 12U);
  EXPECT_EQ(VtableSlot(&IBootLoader::RestoreDefaultParameters), 13U);
  EXPECT_EQ(VtableSlot(&IBootLoader::SendCharacter), 14U);
}

// Takes the first place that the interface leaves free.
class Follower : public IBootLoader {
 public:
  virtual void Next() {}
};

// There are two of them: with and without giving back the memory.
TEST(IBootLoaderSlotOrderTest, OnlyTheDestructorsFollow) {
  EXPECT_EQ(VtableSlot(&Follower::Next), 17U);
}

}  // namespace
}  // namespace kvo::bootloadertms
