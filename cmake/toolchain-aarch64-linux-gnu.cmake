# Builds for AArch64 Linux with Debian's cross compiler (package g++-aarch64-linux-gnu).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc) # of GoogleTest's build
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Programs that the build runs are this machine's; what it compiles and links with is the target's.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# What the cross compiler doesn't bring along: scripts/fetch_arm64_root makes this folder. The
# emulator looks for shared libraries there by itself, so no program has to hold its path.
cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH KVO_ARM64_ROOT)
string(APPEND KVO_ARM64_ROOT /.cache/arm64)
list(APPEND CMAKE_FIND_ROOT_PATH "${KVO_ARM64_ROOT}")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${KVO_ARM64_ROOT}")
set(ENV{PKG_CONFIG_LIBDIR} "${KVO_ARM64_ROOT}/usr/lib/aarch64-linux-gnu/pkgconfig")
set(CMAKE_SKIP_BUILD_RPATH ON)
