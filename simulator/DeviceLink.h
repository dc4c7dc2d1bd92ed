#pragma once

#include <filesystem>

namespace kvo::boardsimulator {

// A symbolic link to a device, there for as long as this object.
class DeviceLink {
 public:
  // Replaces a symbolic link that an earlier run left at `path`; throws std::runtime_error, and
  // leaves it alone, if anything else stands there or the link cannot be made.
  DeviceLink(std::filesystem::path path, std::filesystem::path device);
  DeviceLink(const DeviceLink&) = delete;
  DeviceLink& operator=(const DeviceLink&) = delete;
  // Removes the link unless somebody has put something else in its place.
  ~DeviceLink();

 private:
  std::filesystem::path path_;
  std::filesystem::path device_;
};

}  // namespace kvo::boardsimulator
