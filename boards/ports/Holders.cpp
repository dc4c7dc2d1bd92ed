#include "boards/ports/Holders.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string_view>

namespace kvo::boards {

namespace {

using Folder = std::unique_ptr<DIR, int (*)(DIR*)>;

// Calls `is_found` with the folder's descriptor and each name in it, until it says yes.
bool AnyEntry(const std::string& path, const std::function<bool(int, const char*)>& is_found) {
  const Folder folder(::opendir(path.c_str()), ::closedir);
  if (!folder) {
    return false;
  }
  while (const dirent* entry = ::readdir(folder.get())) {
    if (is_found(::dirfd(folder.get()), entry->d_name)) {
      return true;
    }
  }
  return false;
}

// Only what lies in /dev is looked at: a file elsewhere may be on a server that doesn't answer.
bool LeadsToDevices(int folder, const char* name) {
  constexpr std::string_view kDevices = "/dev/";
  std::array<char, kDevices.size()> target{};
  const ssize_t length = ::readlinkat(folder, name, target.data(), target.size());
  return length == static_cast<ssize_t>(kDevices.size()) &&
         std::string_view(target.data(), target.size()) == kDevices;
}

bool HasOpen(const std::string& process, dev_t device) {
  return AnyEntry("/proc/" + process + "/fd", [device](int folder, const char* name) {
    struct stat status {};
    return LeadsToDevices(folder, name) && ::fstatat(folder, name, &status, 0) == 0 &&
           S_ISCHR(status.st_mode) && status.st_rdev == device;
  });
}

std::string ProgramOf(const std::string& process) {
  std::ifstream file("/proc/" + process + "/comm");
  std::string name;
  std::getline(file, name);
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
  return name;
}

}  // namespace

std::optional<Holder> FindHolder(dev_t device) {
  std::optional<Holder> holder;
  AnyEntry("/proc", [&](int /*folder*/, const char* name) {
    pid_t process = 0;
    const char* const end = name + std::strlen(name);
    if (std::from_chars(name, end, process).ptr != end || process == ::getpid() ||
        !HasOpen(name, device)) {
      return false;
    }
    holder = {process, ProgramOf(name)};
    return true;
  });
  return holder;
}

}  // namespace kvo::boards
