#include "boards/ports/FindPorts.h"

#include <libserialport.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <new>
#include <system_error>

#include "boards/ports/Permission.h"

namespace kvo::boards {

namespace {

namespace fs = std::filesystem;

const std::string kTerminals = "/sys/class/tty";

std::vector<fs::path> EntriesOf(const std::string& folder, std::error_code& error) {
  std::vector<fs::path> entries;
  for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    entries.push_back(entry->path());
  }
  return entries;
}

// The links of a folder by what they lead to; the first by name when several lead to the same.
std::map<std::string, std::string> LinksIn(const std::string& folder) {
  std::map<std::string, std::string> links;
  std::error_code ignored;  // the folder is there when it has something to hold
  std::vector<fs::path> entries = EntriesOf(folder, ignored);
  std::ranges::sort(entries);
  for (const fs::path& entry : entries) {
    links.emplace(fs::canonical(entry, ignored), entry);
  }
  return links;
}

// Only a terminal with a device is a port: consoles and pseudo-terminals have none.
bool IsPort(const fs::path& terminal) {
  std::error_code ignored;
  return fs::exists(terminal / "device", ignored);
}

// Ports of the serial core have a type, which is 0 as long as nothing has been found there.
bool HasHardware(const fs::path& terminal) {
  std::ifstream file(terminal / "type");
  int type = 0;
  return !(file >> type) || type != 0;
}

using Details = std::unique_ptr<sp_port, decltype(&::sp_free_port)>;

// Null when the port has gone.
Details DetailsOf(const std::string& path) {
  sp_port* port = nullptr;
  if (::sp_get_port_by_name(path.c_str(), &port) == SP_ERR_MEM) {
    throw std::bad_alloc();
  }
  return {port, ::sp_free_port};
}

Transport TransportOf(const sp_port* port) {
  switch (::sp_get_port_transport(port)) {
    case SP_TRANSPORT_USB:
      return Transport::kUsb;
    case SP_TRANSPORT_BLUETOOTH:
      return Transport::kBluetooth;
    default:
      return Transport::kNative;
  }
}

std::string TextOf(const char* text) { return text == nullptr ? "" : text; }

void AddDetails(FoundPort& found, const sp_port* port) {
  found.transport = TransportOf(port);
  int vendor = 0;
  int product = 0;
  if (::sp_get_port_usb_vid_pid(port, &vendor, &product) == SP_OK) {
    found.usb_ids = {.vendor = static_cast<std::uint16_t>(vendor),
                     .product = static_cast<std::uint16_t>(product)};
  }
  found.serial = TextOf(::sp_get_port_usb_serial(port));
  found.manufacturer = TextOf(::sp_get_port_usb_manufacturer(port));
  found.product = TextOf(::sp_get_port_usb_product(port));
}

// False when there is no such device file. `access` goes by the real user, who is the effective one
// in a program that is never set-user-ID.
bool AddPermission(FoundPort& found) {
  struct stat status {};
  if (::stat(found.path.c_str(), &status) == -1) {
    return false;
  }
  found.group = GroupThatMayUse(status);
  if (::access(found.path.c_str(), R_OK | W_OK) == -1) {
    found.denial = PermissionDenied(status);
  }
  return true;
}

}  // namespace

// Deliberate: not by sp_list_ports, which opens ports of some drivers, and leaves out those that
// the user may not open.
std::vector<FoundPort> FindPorts() {
  std::error_code error;
  const std::vector<fs::path> terminals = EntriesOf(kTerminals, error);
  if (error) {
    throw std::system_error(error, "the ports can't be listed: " + kTerminals);
  }
  const auto by_id = LinksIn("/dev/serial/by-id");
  const auto by_path = LinksIn("/dev/serial/by-path");
  const auto link_to = [](const auto& links, const std::string& path) {
    const auto link = links.find(path);
    return link == links.end() ? "" : link->second;
  };
  std::vector<FoundPort> ports;
  for (const fs::path& terminal : terminals) {
    FoundPort port;
    port.path = fs::path("/dev") / terminal.filename();
    const Details details = DetailsOf(port.path);
    if (IsPort(terminal) && details && AddPermission(port)) {
      AddDetails(port, details.get());
      port.by_id = link_to(by_id, port.path);
      port.by_path = link_to(by_path, port.path);
      port.has_hardware = HasHardware(terminal);
      ports.push_back(port);
    }
  }
  std::ranges::sort(ports, [](const FoundPort& one, const FoundPort& other) {
    return ::strverscmp(one.path.c_str(), other.path.c_str()) < 0;
  });
  return ports;
}

}  // namespace kvo::boards
