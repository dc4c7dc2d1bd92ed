#include "boards/ports/FindPorts.h"

#include <gtest/gtest.h>
#include <libserialport.h>

#include <new>

#include "wire/boards/FailingCall.h"

namespace kvo::boards {
namespace {

// What there is, is tried by tests of the program.
TEST(FindPortsTest, APortIsNotLeftOutForWantOfMemory) {
  const testing::FailingCall call("sp_get_port_by_name", ENOMEM, SP_ERR_MEM);
  EXPECT_THROW(FindPorts(), std::bad_alloc);
}

}  // namespace
}  // namespace kvo::boards
