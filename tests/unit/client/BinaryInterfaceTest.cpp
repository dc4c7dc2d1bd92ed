// Programs that are built already find the operations of both interfaces by their place in the
// table of virtual operations.
#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "client/IBootLoader.h"
#include "serial/ISerialPort.h"
#include "serial/SerialPortLinux.h"

namespace kvo::bootloadertms {
namespace {

constexpr std::size_t kNotVirtual = 0xFFFF;

// A pointer to a member is two words. That of a virtual operation holds the place in bytes in the
// first, and a mark in the lowest bit: of the first word on x86-64, of the second on AArch64, where
// the first is a multiple of 8.
template <typename Operation>
std::size_t SlotOf(Operation operation) {
  struct Words {
    std::uintptr_t place;
    std::uintptr_t adjustment;
  };
  const auto words = std::bit_cast<Words>(operation);
  const bool is_virtual = ((words.place | words.adjustment) & 1U) != 0;
  return is_virtual ? words.place / sizeof(void*) : kNotVirtual;
}

template <typename... Operations>
std::vector<std::size_t> SlotsOf(Operations... operations) {
  return {SlotOf(operations)...};
}

using Slots = std::vector<std::size_t>;

// Takes the first place that `Base` leaves free.
template <typename Base>
class Follower : public Base {
 public:
  virtual void Next() {}
};

// There are two destructors: with and without giving back the memory.
TEST(BinaryInterfaceTest, TheClientsOperationsHaveTheirPlacesAndOnlyTheDestructorsFollow) {
  EXPECT_EQ(SlotsOf(&IBootLoader::PingBootloader, &IBootLoader::PingApplication,
                    &IBootLoader::Calibrate, &IBootLoader::ActivateBootloader,
                    &IBootLoader::ActivateApplication, &IBootLoader::SendBootloaderCommand,
                    &IBootLoader::SendApplicationCommand, &IBootLoader::UploadImage,
                    &IBootLoader::UploadImageWithInfos, &IBootLoader::SetVerbose,
                    &IBootLoader::SetTransferCallback, &IBootLoader::ReadBootloaderInfos,
                    &IBootLoader::ReadApplicationInfos, &IBootLoader::RestoreDefaultParameters,
                    &IBootLoader::SendCharacter, &Follower<IBootLoader>::Next),
            (Slots{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 17}));
}

TEST(BinaryInterfaceTest, ThePortsOperationsHaveTheirPlacesAndOnlyTheDestructorsFollow) {
  EXPECT_EQ(SlotsOf(&ISerialPort::SetDevice, &ISerialPort::GetDevice, &ISerialPort::SetBaudRate,
                    &ISerialPort::GetBaudRate, &ISerialPort::SetTimeout,
                    &ISerialPort::SetOptionFlag, &ISerialPort::Open, &ISerialPort::Close,
                    &ISerialPort::Write, &ISerialPort::WriteSlowly, &ISerialPort::Read,
                    &ISerialPort::WriteByte, &ISerialPort::ReadByte, &ISerialPort::FlushInput,
                    &Follower<ISerialPort>::Next, &Follower<SerialPortLinux>::Next),
            (Slots{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 16, 16}));
}

}  // namespace
}  // namespace kvo::bootloadertms
