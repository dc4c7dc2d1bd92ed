# kvo_hardening: what Debian's own packages are hardened with; _FORTIFY_SOURCE needs optimisation
# and gets in the way of the sanitizers, so only the release builds have it.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(kvo_hardening INTERFACE)
target_compile_options(kvo_hardening INTERFACE -fstack-protector-strong)
target_compile_definitions(kvo_hardening INTERFACE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
if(NOT KVO_SANITIZERS)
  target_compile_definitions(kvo_hardening INTERFACE $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
endif()
target_link_options(kvo_hardening INTERFACE -Wl,-z,relro,-z,now)
