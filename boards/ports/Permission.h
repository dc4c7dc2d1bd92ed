#pragma once

#include <sys/stat.h>

#include <string>

namespace kvo::boards {

// The group whose members may write to a file; empty when they may not, or it has no name.
std::string GroupThatMayUse(const struct stat& status);

// What is told of a file that the user may not open.
std::string PermissionDenied(const struct stat& status);

}  // namespace kvo::boards
