#include "boards/ports/Permission.h"

#include <grp.h>

namespace kvo::boards {

std::string GroupThatMayUse(const struct stat& status) {
  const group* const owners = ::getgrgid(status.st_gid);
  return (status.st_mode & S_IWGRP) != 0 && owners != nullptr ? owners->gr_name : "";
}

std::string PermissionDenied(const struct stat& status) {
  std::string denied = "permission denied";
  if (const std::string group = GroupThatMayUse(status); !group.empty()) {
    denied += "; members of the group " + group + " may use it";
  }
  return denied;
}

}  // namespace kvo::boards
