#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kvo::boards {

enum class Transport : std::uint8_t { kNative, kUsb, kBluetooth };

struct UsbIds {
  std::uint16_t vendor = 0;
  std::uint16_t product = 0;
};

// A serial port of this machine. A text that isn't known is empty. What comes from the device may
// hold any bytes.
struct FoundPort {
  std::string path;
  Transport transport = Transport::kNative;
  std::optional<UsbIds> usb_ids;
  std::string serial;
  std::string manufacturer;
  std::string product;

  // Links to it that stay the same: one by what the device is, one by where it is plugged in.
  std::string by_id;
  std::string by_path;

  bool has_hardware = true;
  std::string denial;  // why this user may not open it
  std::string group;   // whose members may
};

}  // namespace kvo::boards
