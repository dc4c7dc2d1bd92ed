#include "simulator/DeviceLink.h"

#include <stdexcept>
#include <system_error>
#include <utility>

namespace kvo::boardsimulator {
namespace {

namespace fs = std::filesystem;

void RemoveStaleLink(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(path, error);
  if (!fs::exists(status)) {
    return;
  }
  if (!fs::is_symlink(status)) {
    throw std::runtime_error("cannot make the link " + path.string() +
                             ": something that is not a symbolic link stands there");
  }
  fs::remove(path, error);
}

}  // namespace

DeviceLink::DeviceLink(fs::path path, fs::path device)
    : path_(std::move(path)), device_(std::move(device)) {
  RemoveStaleLink(path_);
  std::error_code error;
  fs::create_symlink(device_, path_, error);
  if (error) {
    throw std::runtime_error("cannot make the link " + path_.string() + ": " + error.message());
  }
}

DeviceLink::~DeviceLink() {
  std::error_code error;
  const fs::path target = fs::read_symlink(path_, error);
  if (!error && target == device_) {
    fs::remove(path_, error);
  }
}

}  // namespace kvo::boardsimulator
