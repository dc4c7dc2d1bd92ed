#include <gtest/gtest.h>

#include "serial/Baudrate.h"
#include "serial/ISerialPort.h"
#include "serial/SerialPortLinux.h"
#include "support/VtableSlot.h"

namespace kvo::bootloadertms {
namespace {

using testing::VtableSlot;

// Programs built against the interface find its operations by their place.
TEST(ISerialPortSlotOrderTest, EachOperationHasItsPlace) {
  EXPECT_EQ(VtableSlot(&ISerialPort::SetDevice), 0U);
  EXPECT_EQ(VtableSlot(&ISerialPort::GetDevice), 1U);
  EXPECT_EQ(VtableSlot(&ISerialPort::SetBaudRate), 2U);
  EXPECT_EQ(VtableSlot(&ISerialPort::GetBaudRate), 3U);
  EXPECT_EQ(VtableSlot(&ISerialPort::SetTimeout), 4U);
  EXPECT_EQ(VtableSlot(&ISerialPort::SetOptionFlag), 5U);
  EXPECT_EQ(VtableSlot(&ISerialPort::Open), 6U);
  EXPECT_EQ(VtableSlot(&ISerialPort::Close), 7U);
  EXPECT_EQ(VtableSlot(&ISerialPort::Write), 8U);
  EXPECT_EQ(VtableSlot(&ISerialPort::WriteSlowly), 9U);
  EXPECT_EQ(VtableSlot(&ISerialPort::Read), 10U);
  EXPECT_EQ(VtableSlot(&ISerialPort::WriteByte), 11U);
  EXPECT_EQ(VtableSlot(&ISerialPort::ReadByte), 12U);
  EXPECT_EQ(VtableSlot(&ISerialPort::FlushInput), 13U);
}

// Takes the first place that the interface leaves free.
class Follower : public ISerialPort {
 public:
  virtual void Next() {}
};

// There are two of them: with and without giving back the memory.
TEST(ISerialPortSlotOrderTest, OnlyTheDestructorsFollow) {
  EXPECT_EQ(VtableSlot(&Follower::Next), 16U);
}

class PortFollower : public SerialPortLinux {
 public:
  virtual void Next() {}
};

TEST(SerialPortLinuxSlotOrderTest, HasNoVirtualOperationsOfItsOwn) {
  EXPECT_EQ(VtableSlot(&PortFollower::Next), 16U);
}

}  // namespace
}  // namespace kvo::bootloadertms
