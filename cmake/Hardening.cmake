# kvo_hardening: what Debian's own packages are hardened with, and nothing in a release build that
# tells where it was built. packaging/check_packages proves what can be seen of it.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(KVO_STATIC)
  set(CMAKE_CXX_LINK_OPTIONS_PIE -static-pie) # in place of -pie, which would undo it
endif()

add_library(kvo_hardening INTERFACE)
target_compile_options(kvo_hardening INTERFACE -fstack-protector-strong -fstack-clash-protection)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  target_compile_options(kvo_hardening INTERFACE -fcf-protection=full)
elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  target_compile_options(kvo_hardening INTERFACE -mbranch-protection=standard)
endif()
target_compile_options(kvo_hardening
                       INTERFACE $<$<CONFIG:Release>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>)
target_compile_definitions(kvo_hardening INTERFACE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
# _FORTIFY_SOURCE needs optimisation and gets in the way of the sanitizers, so only the release
# builds have it.
if(NOT KVO_SANITIZERS)
  target_compile_definitions(kvo_hardening INTERFACE $<$<CONFIG:Release>:_FORTIFY_SOURCE=3>)
endif()
target_link_options(kvo_hardening INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
